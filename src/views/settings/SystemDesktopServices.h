#pragma once

#include "DesktopServices.h"

#include <QObject>
#include <QPointer>

class FileRevealer;

// The desktop's own folder dialog and file manager. The only place of the Settings tab that uses
// Qt Widgets.
class SystemDesktopServices final : public QObject, public DesktopServices {
    Q_OBJECT

public:
    // `revealer` is not owned.
    explicit SystemDesktopServices(FileRevealer *revealer, QObject *parent = nullptr);

    std::optional<QString> chooseFolder(const QString &title, const QString &start) override;
    void reveal(const QString &path) override;

private:
    QPointer<FileRevealer> m_revealer;
};
