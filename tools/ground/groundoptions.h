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
    std::optional<Milliseconds> timeout;  ///< Ping, send, bench: how long to wait for an answer.
    std::optional<Milliseconds> duration; ///< Watch; above 0.
    Milliseconds step{1000};              ///< Bench: how long each rate is kept up; above 0.
    bool pingFirst = true;                ///< Send.
    MessageId messageId{};                ///< Send.
    PayloadId payloadId{};                ///< Send.
    QString payload;                      ///< Send: as PayloadArgument reads it.

    /// The arguments start with the program's name. Nothing when they are wrong; then error says why.
    [[nodiscard]] static std::optional<GroundOptions> parse(const QStringList &arguments, QString *error);
    static QString helpText();
};
