#include "SystemDesktopServices.h"

#include "platform/FileRevealer.h"

#include <QFileDialog>

SystemDesktopServices::SystemDesktopServices(FileRevealer *revealer, QObject *parent)
    : QObject(parent), m_revealer(revealer)
{}

std::optional<QString> SystemDesktopServices::chooseFolder(const QString &title,
                                                           const QString &start)
{
    // What QFileDialog::getExistingDirectory sets up, as an object of our own so that it can be
    // raised: the panel that asked for it stays above ordinary windows.
    QFileDialog dialog(nullptr, title, start);
    dialog.setFileMode(QFileDialog::Directory);
    dialog.setOption(QFileDialog::ShowDirsOnly, true);
    dialog.setWindowModality(Qt::ApplicationModal);
    dialog.show();
    dialog.raise();
    dialog.activateWindow();
    if (dialog.exec() != QDialog::Accepted)
        return std::nullopt;
    const QStringList chosen = dialog.selectedFiles();
    if (chosen.isEmpty() || chosen.first().isEmpty())
        return std::nullopt;
    return chosen.first();
}

void SystemDesktopServices::reveal(const QString &path)
{
    if (m_revealer)
        m_revealer->reveal(path);
}
