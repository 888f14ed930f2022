// SPDX-License-Identifier: MIT
#include "connection/serialportfinder.h"

#include <QSerialPortInfo>

SerialPortListing findSerialPort(const QString &portName)
{
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &port : ports)
        if (port.portName() == portName)
            return {true, port.isBusy()};
    return {};
}
