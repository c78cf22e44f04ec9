#pragma once

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

// What the Qt Quick benchmarks share: order statistics of their timings, and waiting on the
// event loop.

struct Stats {
    qsizetype count = 0;
    double median = 0, p95 = 0, p99 = 0, max = 0;
};

// Nearest-rank percentiles of `values`, in their unit.
inline Stats stats(std::vector<double> values)
{
    Stats s;
    s.count = qsizetype(values.size());
    if (values.empty())
        return s;
    std::sort(values.begin(), values.end());
    const auto at = [&](double q) {
        const auto rank = std::size_t(std::ceil(q * double(values.size())));
        return values[std::clamp<std::size_t>(rank, 1, values.size()) - 1];
    };
    s.median = at(0.5);
    s.p95 = at(0.95);
    s.p99 = at(0.99);
    s.max = values.back();
    return s;
}

// Stats of milliseconds, as the benchmarks' JSON carries them.
inline QJsonObject toJson(const Stats &s)
{
    return {{QStringLiteral("count"), s.count},
            {QStringLiteral("median_ms"), s.median},
            {QStringLiteral("p95_ms"), s.p95},
            {QStringLiteral("p99_ms"), s.p99},
            {QStringLiteral("max_ms"), s.max}};
}

// Runs the event loop until `done` holds, looking every `stepMs`; false after `timeoutMs`.
inline bool spinUntil(const std::function<bool()> &done, int timeoutMs, int stepMs = 5)
{
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QEventLoop loop;
        QTimer::singleShot(stepMs, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

// Points home and the XDG folders into `scratch`, so that a benchmark never touches the user's
// files; before the application object exists.
inline void useScratchHome(const QTemporaryDir &scratch)
{
    for (const auto &[variable, folder] :
         {std::pair{"HOME", "home"}, std::pair{"XDG_CONFIG_HOME", "config"},
          std::pair{"XDG_STATE_HOME", "state"}, std::pair{"XDG_DATA_HOME", "data"},
          std::pair{"XDG_CACHE_HOME", "cache"}}) {
        const QString path = scratch.filePath(QString::fromLatin1(folder));
        QDir().mkpath(path);
        qputenv(variable, QFile::encodeName(path));
    }
}
