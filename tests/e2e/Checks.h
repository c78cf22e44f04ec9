#pragma once

#include <QTest>

// Fails the test with a screenshot of what was there, so that a failure can be looked at. The
// test class provides `QString failure(const QString &what)`.
#define VERIFY_SCREEN(condition, what)                                                             \
    do {                                                                                           \
        if (!(condition))                                                                          \
            QFAIL(qPrintable(failure(what)));                                                      \
    } while (false)

// Runs a helper that verifies, and stops the test when it failed.
#define CHECKED(call)                                                                              \
    do {                                                                                           \
        call;                                                                                      \
        if (QTest::currentTestFailed())                                                            \
            return;                                                                                \
    } while (false)
