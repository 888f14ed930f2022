// SPDX-License-Identifier: MIT
#pragma once

#include "sim/simtime.h"

#include <QByteArray>
#include <QQueue>
#include <QVector>

#include <random>

/// What a bad line does to the frames of one client: loses and damages them, brings them late, and stands
/// still for a while. The same seed and frames give the same trouble.
///
/// Overflow rule: a frame that sets out while queueLimit others are on the way is dropped.
class LinkFaults
{
public:
    struct Settings
    {
        double loss = 0;       ///< How likely a frame is lost, 0 to 1.
        double corruption = 0; ///< How likely a bit of it is turned over.
        SimTime latency{0};
        SimTime stallBegin{0}; ///< Since the simulator started.
        SimTime stallLength{0};
        quint32 seed = 1;

        bool any() const
        {
            return loss > 0 || corruption > 0 || latency > SimTime(0) || stallLength > SimTime(0);
        }
    };

    /// Clients with different numbers have different trouble.
    LinkFaults(const Settings &settings, int client);

    /// Other trouble from now on, for the frames that have not set out yet.
    void change(const Settings &wanted) { settings = wanted; }
    /// No trouble, and nothing on the way.
    bool isIdle() const { return !settings.any() && onTheWay.isEmpty(); }
    int countOnTheWay() const { return onTheWay.size(); }

    static constexpr int queueLimit = 50'000;

    /// A frame sets out. False when it is dropped because too many are on the way.
    [[nodiscard]] bool send(const QByteArray &frame, SimTime now);
    /// The frames that arrive by now, in order.
    QVector<QByteArray> takeArrived(SimTime now);

private:
    struct Frame
    {
        QByteArray bytes;
        SimTime due;
    };

    bool happens(double chance);
    SimTime arrival(SimTime now) const;

    Settings settings;
    std::mt19937 generator;
    QQueue<Frame> onTheWay;
};
