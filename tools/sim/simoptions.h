// SPDX-License-Identifier: MIT
#pragma once

#include "common/linkaddress.h"
#include "sim/autopilotkind.h"
#include "sim/linkfaults.h"
#include "sim/wind.h"

#include <QStringList>
#include <QVector>

#include <optional>

/// What the simulator was asked to do.
struct SimOptions
{
    enum class Action { Run, ShowHelp, ShowVersion };

    Action action = Action::Run;
    std::optional<AutopilotKind> autopilot; ///< Either this or a recording is given.
    QString recording;
    QVector<LinkAddress> links; ///< At least one.
    QStringList forwarding;     ///< PX4: addresses of links that have it on, beside the first.
    double speed = 1;           ///< Finite and above 0.
    qint32 baud = 57600;        ///< Above 0.
    bool baudGiven = false;
    std::optional<double> bootDelayS; ///< 0 or more.
    Wind wind;
    quint32 seed = 1;
    LinkFaults::Settings faults;
    bool loop = false;
    bool json = false;
    bool quiet = false;

    /// The arguments start with the program's name. Nothing when they are wrong; then error says why.
    [[nodiscard]] static std::optional<SimOptions> parse(const QStringList &arguments, QString *error);
    static QString helpText();

    /// Whether a PX4's link, by its place in links, has forwarding switched on.
    bool isForwarding(int link) const;
};
