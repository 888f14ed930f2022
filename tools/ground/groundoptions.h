// SPDX-License-Identifier: MIT
#pragma once

#include "common/linkaddress.h"
#include "communication/payloadmessage.h"

#include <chrono>
#include <optional>

/// What the ground end was asked to do.
struct GroundOptions
{
    enum class Action { Run, ShowHelp, ShowVersion };
    enum class Command { Ping, Watch, Send, Bench };
    using Milliseconds = std::chrono::milliseconds;

    Action action = Action::Run;
    Command command = Command::Ping;
    LinkAddress address;
    quint8 systemId = 255; ///< Above 0.
    Milliseconds pace{5};
    bool json = false;
    bool quiet = false;

    std::optional<int> count;             ///< Ping: pings to send. Watch: payloads to wait for. Above 0.
    Milliseconds interval{1000};          ///< Ping; above 0.
    Milliseconds timeout{2000};           ///< Ping, send, bench: how long to wait for an answer; above 0.
    std::optional<Milliseconds> duration; ///< Watch; above 0.
    Milliseconds step{1000};              ///< Bench: how long each rate is kept up; at most an hour, above 0.
    bool pingFirst = true;                ///< Send.
    MessageId messageId{};                ///< Send.
    PayloadId payloadId{};                ///< Send.
    QString payload;                      ///< Send: as PayloadArgument reads it.

    /// How long a link that takes frames can go without one of them: the timeout, but not what the pace asks
    /// for, also when a heartbeat comes between.
    Milliseconds stallTimeout() const { return timeout + 2 * pace; }

    /// The arguments start with the program's name. Nothing when they are wrong; then error says why.
    [[nodiscard]] static std::optional<GroundOptions> parse(const QStringList &arguments, QString *error);
    static QString helpText();
};
