#pragma once

#include <QObject>

// Whether the desktop has something that shows tray icons: a StatusNotifier host on the session
// bus, or an XEmbed system tray on X11. Followed as hosts come and go on the bus; an XEmbed tray
// is looked for again on refresh().
//
// Qt decides once per process whether it uses the bus's tray, the first time anything asks it,
// so the tray icon must not be made before a host is there.
class TrayHost : public QObject {
    Q_OBJECT

public:
    explicit TrayHost(QObject *parent = nullptr);

    [[nodiscard]] bool isPresent() const { return m_present; }

public slots:
    void refresh();

signals:
    void presentChanged();

private:
    [[nodiscard]] static bool statusNotifierHost();
    [[nodiscard]] static bool xembedTray();

    bool m_present = false;
};
