#pragma once

#include "notch/NotchModel.h"
#include "store/Greeting.h"

#include <QColor>
#include <QList>
#include <QSize>
#include <QString>

#include <optional>

class BoardStore;
class QQmlEngine;
class SteppedAnimationDriver;

// Renders the panel's main states to PNG files, without a display: a sample vault with a sample
// day, drawn in seven fixed states.
class Snapshot {
public:
    struct State {
        QString name;
        bool open = false;
        NotchModel::Tab tab = NotchModel::Tab::Board;
        std::optional<Greeting> greeting;
        bool calendar = false;
        // Days from today of the board shown; none for today.
        std::optional<int> pastDay;
    };

    static constexpr int width = 860;
    static constexpr int openHeight = 420;
    static constexpr int closedHeight = 80;
    static constexpr QSizeF notchSize{185, 32};
    // How long animations run before a state is captured, on a clock of their own.
    static constexpr qint64 settleMilliseconds = 800;

    Snapshot() = delete;

    // Blue-grey, so that the black notch stands out.
    [[nodiscard]] static QColor background() { return QColor::fromRgbF(0.36f, 0.45f, 0.62f); }
    // The seven states, in the order they are rendered.
    [[nodiscard]] static QList<State> states();

    // The cards of today's sample board, To do, Doing and Done, in the order they are added.
    [[nodiscard]] static QList<QStringList> todayCards();
    // The sample boards of earlier days: days from today, with their finished cards.
    [[nodiscard]] static QList<std::pair<int, QStringList>> pastCards();
    [[nodiscard]] static QString quickNote();

    // Writes one "<name>.png" a state into `dir` and prints "wrote <path>" for each. Without an
    // application object it makes its own, on the off-screen platform; the user's settings and,
    // unless TALLOWFERN_VAULT names one, the user's vault are left alone.
    static void run(const QString &dir);

private:
    static void writeSamples(const QString &vault);
    static void render(const State &state, BoardStore &store, QQmlEngine &engine,
                       SteppedAnimationDriver &driver, const QString &dir);
};
