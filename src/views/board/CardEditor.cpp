#include "CardEditor.h"

#include "notch/NotchModel.h"
#include "store/BoardStore.h"

CardEditor::CardEditor(QObject *parent) : QObject(parent) {}

void CardEditor::setStore(BoardStore *store)
{
    if (m_store == store)
        return;
    m_store = store;
    emit storeChanged();
}

void CardEditor::setModel(NotchModel *model)
{
    if (m_model == model)
        return;
    m_model = model;
    emit modelChanged();
}

void CardEditor::setCardId(const QString &id)
{
    if (m_cardId == id)
        return;
    m_cardId = id;
    emit cardChanged();
}

void CardEditor::setCardText(const QString &text)
{
    // A change from outside while editing leaves the draft alone until the commit.
    if (m_cardText == text)
        return;
    m_cardText = text;
    emit cardChanged();
}

void CardEditor::setDraft(const QString &draft)
{
    if (m_draft == draft)
        return;
    m_draft = draft;
    emit draftChanged();
}

void CardEditor::setEditing(bool editing)
{
    if (m_editing == editing)
        return;
    m_editing = editing;
    emit editingChanged();
}

bool CardEditor::begin()
{
    if (!m_store || m_store->pastDays()->isViewingPast())
        return false;
    setDraft(m_cardText);
    setEditing(true);
    return true;
}

void CardEditor::focusChanged(bool focused)
{
    if (m_model)
        m_model->setEditing(focused);
    if (!focused)
        commit();
}

void CardEditor::commit()
{
    if (!m_editing)
        return;
    setEditing(false);
    if (m_model)
        m_model->setEditing(false);
    if (m_store && m_draft != m_cardText)
        m_store->today()->rename(m_cardId, m_draft);
}
