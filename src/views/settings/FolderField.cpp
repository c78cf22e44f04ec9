#include "FolderField.h"

#include "notch/NotchModel.h"

FolderField::FolderField(Commit commit, QObject *parent)
    : QObject(parent), m_commit(std::move(commit))
{}

// A field that goes away with the keyboard (its tab switched away) must not keep the panel open.
FolderField::~FolderField()
{
    if (m_focused && m_model)
        m_model->setEditing(false);
}

void FolderField::setValue(const QString &value)
{
    if (m_value == value)
        return;
    m_value = value;
    emit valueChanged();
    setDraft(value);
}

void FolderField::setDraft(const QString &draft)
{
    if (m_draft == draft)
        return;
    m_draft = draft;
    emit draftChanged();
}

void FolderField::setFocused(bool focused)
{
    if (m_focused == focused)
        return;
    if (!focused)
        apply();
    m_focused = focused;
    emit focusedChanged();
    if (m_model)
        m_model->setEditing(focused);
}

void FolderField::setModel(NotchModel *model)
{
    if (m_model == model)
        return;
    if (m_focused && m_model)
        m_model->setEditing(false);
    m_model = model;
    if (m_focused && m_model)
        m_model->setEditing(true);
}

void FolderField::apply()
{
    if (trimmed(m_draft).isEmpty()) {
        setDraft(m_value);
        return;
    }
    if (const auto folder = committed(m_draft, m_value); folder && m_commit)
        m_commit(*folder);
}

QString FolderField::trimmed(const QString &draft)
{
    const auto trims = [](QChar c) { return c.isSpace() || c == u'/'; };
    qsizetype first = 0;
    qsizetype end = draft.size();
    while (first < end && trims(draft.at(first)))
        ++first;
    while (end > first && trims(draft.at(end - 1)))
        --end;
    return draft.sliced(first, end - first);
}

std::optional<QString> FolderField::committed(const QString &draft, const QString &current)
{
    const QString folder = trimmed(draft);
    if (folder.isEmpty() || folder == current)
        return std::nullopt;
    return folder;
}
