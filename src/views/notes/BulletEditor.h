#pragma once

#include "notes/BulletEditing.h"

#include <QObject>
#include <QPointer>
#include <QQuickTextDocument>
#include <QtQml/qqml.h>

// Applies the outliner rules to a QML TextEdit's document. Every edit is one edit block on the
// document, so the text item shows it, and undoes it in one step, as if it had been typed.
class BulletEditor : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickTextDocument *document READ document WRITE setDocument NOTIFY documentChanged)

public:
    enum class Command { Newline, Tab, Backtab, DeleteBackward };
    Q_ENUM(Command)

    explicit BulletEditor(QObject *parent = nullptr);

    [[nodiscard]] QQuickTextDocument *document() const { return m_document; }
    void setDocument(QQuickTextDocument *document);

    // A key the editor may take over; false leaves it to the text item.
    Q_INVOKABLE bool command(BulletEditor::Command command, int selectionStart, int selectionEnd);
    // After any change: "- " or "* " just typed at a line's start becomes a bullet.
    Q_INVOKABLE bool convertTypedBullet(int selectionStart, int selectionEnd);
    // Gives every line its spacing after the text has been replaced wholesale; new lines take it
    // from the line they are split from. Leaves the undo history as it was.
    Q_INVOKABLE void spaceLines();

    // The document's text as typed: unlike the text item's `text`, no-break spaces and line
    // separators (U+2028) stay as they are; lines end with "\n".
    Q_INVOKABLE QString text() const;

    // Extra space between lines, in pixels.
    static constexpr qreal lineSpacing = 3;

signals:
    void documentChanged();

private:
    void apply(const BulletEditing::Edit &edit);

    QPointer<QQuickTextDocument> m_document;
};
