// SPDX-License-Identifier: MIT
#pragma once

#include "common/linkaddress.h"
#include "link/link.h"

#include <QSerialPort>
#include <QTimer>

/// A serial device. Whether anybody listens at the other end of a serial line cannot be known, so the line
/// counts as one client, there from the start until the device fails.
class SerialLink : public Link
{
    Q_OBJECT

public:
    explicit SerialLink(const LinkAddress &where);

    bool open(QString *error) override;
    QString address() const override;
    void write(const QByteArray &bytes) override;
    qint64 queuedBytes() const override;
    void finish() override;

private:
    void join();
    void readInput();
    void onError(QSerialPort::SerialPortError error);
    void closeFailedPort();
    void checkFinished();

    const LinkAddress where;
    QSerialPort port;
    QTimer finishing; // nothing tells when the driver has sent its last byte: it has to be looked at
};
