// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

#include <termios.h>

/// A pseudo-terminal whose slave a UartConnection opens as its serial device.
///
/// It holds the slave open too: settings can be looked at, and the number is not given to another program as
/// long as the connection under test may hold its lock. Failing system calls end the program.
class PseudoTerminal
{
public:
    PseudoTerminal();
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    /// "/dev/pts/7"
    QString path() const { return slavePath; }
    /// "pts/7", as the system's list of ports would have it.
    QString name() const { return slavePath.mid(5); }
    termios settings() const;
    /// Sets what a serial link to an autopilot must not have: two stop bits, flow control, another speed.
    void spoilSettings();
    void write(const QByteArray &bytes);
    /// Reads exactly that many bytes, fewer if none come for half a minute.
    QByteArray read(int count);
    /// Takes the device away, as when an adapter is unplugged.
    void hangUp();
    /// Blocks until that many bytes wait in the kernel for whoever reads the slave.
    void waitForBytes(int count) const;

private:
    int master = -1;
    int slave = -1;
    QString slavePath;
};
