#pragma once

#include "recordinghost.h"
#include "virtualclock.h"

#include <QCoreApplication>
#include <QtTest>

/// A main() that runs @p TestClass in virtual time.
#define VIRTUAL_TIME_TEST_MAIN(TestClass)                                                                    \
    int main(int argc, char** argv)                                                                          \
    {                                                                                                        \
        QCoreApplication::setEventDispatcher(new VirtualClock);                                              \
        QCoreApplication app(argc, argv);                                                                    \
        TestClass test;                                                                                      \
        const int failures = QTest::qExec(&test, argc, argv);                                                \
        RecordingHost::instance().shutDown();                                                                \
        return failures;                                                                                     \
    }
