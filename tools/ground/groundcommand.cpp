// SPDX-License-Identifier: MIT
#include "ground/groundcommand.h"

#include "ground/benchcommand.h"
#include "ground/pingcommand.h"
#include "ground/sendcommand.h"
#include "ground/watchcommand.h"

std::unique_ptr<GroundCommand> GroundCommand::create(const Tools &tools, const QByteArray &payload)
{
    switch (tools.options.command) {
    case GroundOptions::Command::Ping:
        return std::make_unique<PingCommand>(tools);
    case GroundOptions::Command::Watch:
        return std::make_unique<WatchCommand>(tools);
    case GroundOptions::Command::Send:
        return std::make_unique<SendCommand>(tools, payload);
    case GroundOptions::Command::Bench:
        break;
    }
    return std::make_unique<BenchCommand>(tools);
}
