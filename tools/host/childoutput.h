// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QObject>

class QSocketNotifier;
class Screen;

/// While it lives, what other programs that we run write to our terminal scrolls on the screen instead of
/// writing over it. Does nothing if stderr is no terminal.
class ChildOutput : public QObject
{
    Q_OBJECT

public:
    explicit ChildOutput(Screen &screen);
    ~ChildOutput() override;

    bool isActive() const { return notifier != nullptr; }

private:
    void onReadable();

    Screen &screen;
    QSocketNotifier *notifier = nullptr;
    int readEnd = -1;
    int savedStdout = -1;
    int savedStderr = -1;
    QByteArray line; // begun, its end not read yet
};
