#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

// Says when the keyboard layout changes, so that key names follow it: another layout chosen,
// the group switched (Alt+Shift, a desktop's layout menu), a keymap loaded by setxkbmap. On X11
// it listens to the XKB events Qt's own keyboard handling already asks for; on Wayland to the
// keymap and group the compositor sends. It forgets KeyboardLayout's cached layout before saying
// so.
class KeyboardLayoutWatcher : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    explicit KeyboardLayoutWatcher(QObject *parent = nullptr);
    ~KeyboardLayoutWatcher() override;

    // The one of the application, made on first use. Main thread only.
    [[nodiscard]] static KeyboardLayoutWatcher *instance();

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

signals:
    void layoutChanged();

private:
    // The first event number of the XKB extension on Qt's connection; -1 without it.
    int m_xkbFirstEvent = -1;
    bool m_changePending = false;

    // Several events of one change are answered once, after Qt has taken them in too.
    void changeSoon();
};
