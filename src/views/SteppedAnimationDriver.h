#pragma once

#include <QAnimationDriver>

// Drives every animation by a clock that only moves when told to, so that a frame rendered after
// a given span shows the same picture on any machine, however busy, and without waiting.
class SteppedAnimationDriver : public QAnimationDriver {
    Q_OBJECT

public:
    explicit SteppedAnimationDriver(QObject *parent = nullptr);

    // Moves the clock on and lets every running animation take the step.
    void step(qint64 milliseconds);
    [[nodiscard]] qint64 elapsed() const override { return m_elapsed; }

private:
    qint64 m_elapsed = 0;
};
