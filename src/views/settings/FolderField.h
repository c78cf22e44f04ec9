#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqml.h>

#include <functional>
#include <optional>

class NotchModel;

// One editable folder path of the Settings tab. The field shows `draft`; Return and leaving the
// field apply it: trimmed, an empty draft puts the current value back, and a different one is
// committed. While the field has the keyboard the panel counts as being edited, so it stays open.
class FolderField : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Folder fields come from SettingsController.")
    Q_PROPERTY(QString value READ value NOTIFY valueChanged)
    Q_PROPERTY(QString draft READ draft WRITE setDraft NOTIFY draftChanged)
    Q_PROPERTY(bool focused READ focused WRITE setFocused NOTIFY focusedChanged)

public:
    using Commit = std::function<void(const QString &)>;

    explicit FolderField(Commit commit, QObject *parent = nullptr);
    ~FolderField() override;

    [[nodiscard]] const QString &value() const { return m_value; }
    // The stored folder changed; the draft follows it.
    void setValue(const QString &value);
    [[nodiscard]] const QString &draft() const { return m_draft; }
    void setDraft(const QString &draft);
    [[nodiscard]] bool focused() const { return m_focused; }
    // Losing the keyboard applies the draft first.
    void setFocused(bool focused);
    void setModel(NotchModel *model);

    Q_INVOKABLE void apply();

    // The folder that a draft names: white space, line breaks and "/" gone from both ends.
    [[nodiscard]] static QString trimmed(const QString &draft);
    // What applying `draft` to `current` commits, if anything.
    [[nodiscard]] static std::optional<QString> committed(const QString &draft,
                                                          const QString &current);

signals:
    void valueChanged();
    void draftChanged();
    void focusedChanged();

private:
    Commit m_commit;
    QPointer<NotchModel> m_model;
    QString m_value;
    QString m_draft;
    bool m_focused = false;
};
