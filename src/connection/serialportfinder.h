// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QString>

#include <functional>

/// What the system's list of serial ports says of one port.
struct SerialPortListing
{
    bool listed = false; ///< The port stands in the list.
    bool locked = false; ///< A living process, ours included, holds its lock file.
};

/// Looks a port up by its name without "/dev/". A seam: tests list ports that the machine does not have.
using SerialPortFinder = std::function<SerialPortListing(const QString &portName)>;

/// Looks in QSerialPortInfo::availablePorts().
NOFLAILSTEN_EXPORT SerialPortListing findSerialPort(const QString &portName);
