#pragma once

#include "views/settings/DesktopServices.h"

#include <QStringList>

#include <functional>
#include <optional>

// Stands in for the folder dialog and the file manager: answers with a folder set beforehand (or
// a cancel) and records what it was asked. Installed for its lifetime.
class FakeDesktopServices final : public DesktopServices {
public:
    FakeDesktopServices() { setCurrent(this); }
    ~FakeDesktopServices() override { setCurrent(nullptr); }

    std::optional<QString> chooseFolder(const QString &title, const QString &start) override
    {
        titles.append(title);
        starts.append(start);
        if (whileOpen)
            whileOpen();
        return answer;
    }
    void reveal(const QString &path) override { revealed.append(path); }

    // The folder the next dialogs choose; none cancels.
    std::optional<QString> answer;
    // Runs while a dialog is up, to look at the state at that moment.
    std::function<void()> whileOpen;
    QStringList titles;
    QStringList starts;
    QStringList revealed;
};
