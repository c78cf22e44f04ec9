#include "SteppedAnimationDriver.h"

SteppedAnimationDriver::SteppedAnimationDriver(QObject *parent) : QAnimationDriver(parent) {}

void SteppedAnimationDriver::step(qint64 milliseconds)
{
    m_elapsed += milliseconds;
    advance();
}
