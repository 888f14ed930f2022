// SPDX-License-Identifier: MIT
#pragma once

#include "app/app.h"

#include <QtTest>

/// Puts the stand-ins for `date` and `nmcli` first on PATH, and points the native settings store into a
/// folder that goes away with the program. Called before anything else of a test runs.
void prepareTestEnvironment();

/// Lines that the stand-ins were called with since the last call of this function, for example "nmcli radio
/// wifi off".
QStringList takeStandInCalls();

/// main() of a test program that runs inside an App.
#define APP_TEST_MAIN(TestClass)                                                                             \
    int main(int argc, char *argv[])                                                                         \
    {                                                                                                        \
        prepareTestEnvironment();                                                                            \
        App app(argc, argv);                                                                                 \
        TestClass test;                                                                                      \
        return QTest::qExec(&test, argc, argv);                                                              \
    }
