#include "BulletEditor.h"

#include <QQuickTextDocument>
#include <QTextBlock>
#include <QTextBlockFormat>
#include <QTextCursor>
#include <QTextDocument>

BulletEditor::BulletEditor(QObject *parent) : QObject(parent) {}

void BulletEditor::setDocument(QQuickTextDocument *document)
{
    if (m_document == document)
        return;
    m_document = document;
    emit documentChanged();
}

QString BulletEditor::text() const
{
    if (!m_document || !m_document->textDocument())
        return {};
    // toPlainText() would turn no-break spaces into spaces and U+2028 into line feeds; the raw
    // text only has U+2029 between its blocks.
    QString text = m_document->textDocument()->toRawText();
    text.replace(QChar::ParagraphSeparator, u'\n');
    return text;
}

bool BulletEditor::command(Command command, int selectionStart, int selectionEnd)
{
    if (!m_document)
        return false;
    const BulletEditing::Outcome outcome = BulletEditing::handle(
        text(), selectionStart, selectionEnd, BulletEditing::Command(int(command)));
    if (outcome.edit)
        apply(*outcome.edit);
    return outcome.handled;
}

bool BulletEditor::convertTypedBullet(int selectionStart, int selectionEnd)
{
    if (!m_document)
        return false;
    const auto edit = BulletEditing::typedBullet(text(), selectionStart, selectionEnd);
    if (!edit)
        return false;
    apply(*edit);
    return true;
}

void BulletEditor::apply(const BulletEditing::Edit &edit)
{
    QTextDocument *document = m_document->textDocument();
    QTextCursor cursor(document);
    cursor.beginEditBlock();
    cursor.setPosition(edit.start);
    cursor.setPosition(edit.start + edit.length, QTextCursor::KeepAnchor);
    if (edit.text.isEmpty())
        cursor.removeSelectedText();
    else
        cursor.insertText(edit.text);
    cursor.endEditBlock();
}

void BulletEditor::spaceLines()
{
    if (!m_document || !m_document->textDocument())
        return;
    QTextDocument *document = m_document->textDocument();
    QTextBlockFormat spaced;
    spaced.setLineHeight(lineSpacing, QTextBlockFormat::LineDistanceHeight);
    // Only lines that lack the spacing: a format change that changes nothing would still be a
    // step of its own in the undo history, and would clear what redo has.
    QList<int> unspaced;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        const QTextBlockFormat format = block.blockFormat();
        if (format.lineHeightType() != QTextBlockFormat::LineDistanceHeight ||
            !qFuzzyCompare(format.lineHeight(), qreal(lineSpacing)))
            unspaced.append(block.position());
    }
    if (unspaced.isEmpty())
        return;
    // A change of format is no edit of the user's. Right after the text was replaced there is no
    // history, and none is made; otherwise the spacing joins the edit that made the new lines, so
    // that one undo takes back both.
    const bool undo = document->isUndoRedoEnabled();
    const bool fresh = document->availableUndoSteps() == 0;
    if (fresh)
        document->setUndoRedoEnabled(false);
    QTextCursor cursor(document);
    if (!fresh)
        cursor.joinPreviousEditBlock();
    for (const int position : std::as_const(unspaced)) {
        cursor.setPosition(position);
        cursor.mergeBlockFormat(spaced);
    }
    if (!fresh)
        cursor.endEditBlock();
    if (fresh)
        document->setUndoRedoEnabled(undo);
}
