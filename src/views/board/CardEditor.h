#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqml.h>

class BoardStore;
class NotchModel;

// Editing one card's text in place. There is no cancel: Return, Escape and clicking elsewhere
// all commit, and a commit that follows another (Return, then the focus going) does nothing.
class CardEditor : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(BoardStore *store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(NotchModel *model READ model WRITE setModel NOTIFY modelChanged)
    Q_PROPERTY(QString cardId READ cardId WRITE setCardId NOTIFY cardChanged)
    Q_PROPERTY(QString cardText READ cardText WRITE setCardText NOTIFY cardChanged)
    Q_PROPERTY(bool editing READ editing NOTIFY editingChanged)
    Q_PROPERTY(QString draft READ draft WRITE setDraft NOTIFY draftChanged)

public:
    explicit CardEditor(QObject *parent = nullptr);

    [[nodiscard]] BoardStore *store() const { return m_store; }
    void setStore(BoardStore *store);
    [[nodiscard]] NotchModel *model() const { return m_model; }
    void setModel(NotchModel *model);
    [[nodiscard]] const QString &cardId() const { return m_cardId; }
    void setCardId(const QString &id);
    [[nodiscard]] const QString &cardText() const { return m_cardText; }
    void setCardText(const QString &text);
    [[nodiscard]] bool editing() const { return m_editing; }
    [[nodiscard]] const QString &draft() const { return m_draft; }
    void setDraft(const QString &draft);

    // Starts editing with the card's text as the draft; not on an earlier day's board.
    Q_INVOKABLE bool begin();
    // The edit field's keyboard focus came or went; going, it commits.
    Q_INVOKABLE void focusChanged(bool focused);
    // Ends editing; renames the card only when the draft differs from its text. What an empty
    // draft does is the store's affair.
    Q_INVOKABLE void commit();

signals:
    void storeChanged();
    void modelChanged();
    void cardChanged();
    void editingChanged();
    void draftChanged();

private:
    void setEditing(bool editing);

    QPointer<BoardStore> m_store;
    QPointer<NotchModel> m_model;
    QString m_cardId;
    QString m_cardText;
    bool m_editing = false;
    QString m_draft;
};
