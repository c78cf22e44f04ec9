#pragma once

#include "platform/UrlLauncher.h"
#include "store/Clock.h"

#include <QByteArrayList>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>

// A clock the test sets by hand.
class FakeClock final : public Clock {
public:
    [[nodiscard]] QDateTime now() const override { return m_now; }
    void set(const QDateTime &moment) { m_now = moment; }
    void set(int y, int m, int d, int hh = 9, int mm = 0, int ss = 0, int ms = 0)
    {
        m_now = QDateTime(QDate(y, m, d), QTime(hh, mm, ss, ms));
    }

private:
    QDateTime m_now = QDateTime(QDate(2025, 3, 7), QTime(9, 0));
};

class RecordingLauncher final : public UrlLauncher {
public:
    void open(const QByteArray &encodedUrl) override { opened.append(encodedUrl); }
    QByteArrayList opened;
};

// A scratch home, config, state and vault for one test; the environment points at them.
class Scratch {
public:
    Scratch()
    {
        for (const char *name : {"home", "config", "state", "vault"})
            QDir().mkpath(m_dir.filePath(QString::fromLatin1(name)));
        qputenv("HOME", QFile::encodeName(home()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_dir.filePath(u"config"_qs)));
        qputenv("XDG_STATE_HOME", QFile::encodeName(m_dir.filePath(u"state"_qs)));
        qputenv("TALLOWFERN_VAULT", QFile::encodeName(vault()));
    }

    [[nodiscard]] QString path(const QString &relative = {}) const
    {
        return relative.isEmpty() ? m_dir.path() : m_dir.filePath(relative);
    }
    [[nodiscard]] QString home() const { return m_dir.filePath(u"home"_qs); }
    [[nodiscard]] QString vault() const { return m_dir.filePath(u"vault"_qs); }
    [[nodiscard]] QString boards() const { return vault() + u"/01 Journal/Boards"_qs; }
    [[nodiscard]] QString notes() const { return vault() + u"/01 Journal/Quick Notes"_qs; }
    [[nodiscard]] QString replaced() const
    {
        return m_dir.filePath(u"state/Tallowfern/replaced"_qs);
    }

    static void write(const QString &path, const QByteArray &bytes)
    {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(path));
        file.write(bytes);
    }
    [[nodiscard]] static QByteArray read(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    QTemporaryDir m_dir;
};

inline void useTimeZone(const char *zone)
{
    qputenv("TZ", zone);
    ::tzset();
}
