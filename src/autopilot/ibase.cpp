// SPDX-License-Identifier: MIT
#include "autopilot/ibase.h"

#include <cstdlib>

IBase::IBase(QObject *parent)
    : QObject(parent)
{}

bool IBase::runSystemCommand(const QString &command)
{
    const int status = std::system(command.toLatin1().constData());
    info() << command << "->" << status;
    return status == 0;
}
