#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class BoardStore;
class NotchModel;

// What the Settings tab keeps beyond the life of its view, one per store: the message line, and
// choosing a folder. The view is rebuilt each time the panel opens, and a folder dialog closes the
// panel while it is up, so a refusal must still be there when the panel opens again.
class SettingsState : public QObject {
    Q_OBJECT

public:
    enum class Location { Vault, Boards, Notes };

    // The state of `store`, made on first use and owned by it.
    [[nodiscard]] static SettingsState *of(BoardStore *store);

    [[nodiscard]] const QString &message() const { return m_message; }
    void setMessage(const QString &message);

    // Closes the panel, asks for a folder and applies it, then opens the panel pinned on the
    // Settings tab again, whatever the answer. The dialog runs from the event loop once the
    // current event is done, not inside the click that asked for it: closing the panel takes that
    // click's view away. `model` may be null.
    void choose(Location location, NotchModel *model);
    // Where the dialog starts and what it says, by location.
    [[nodiscard]] QString startFolder(Location location) const;
    [[nodiscard]] static QString dialogTitle(Location location);
    // Takes a chosen folder: the vault as it is, the other two only inside the vault and not the
    // vault itself. A refusal goes to the message line; anything taken clears it.
    void apply(Location location, const QString &folder);

signals:
    void messageChanged();
    // A choice is over, taken or not, and the panel was asked to open again.
    void chosen();

private:
    explicit SettingsState(BoardStore *store);
    void runDialog(Location location, const QPointer<NotchModel> &model);

    BoardStore *m_store;
    QString m_message;
    bool m_choosing = false;
};
