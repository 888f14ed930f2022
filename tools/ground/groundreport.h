// SPDX-License-Identifier: MIT
#pragma once

#include "ground/openpayloads.h"
#include "ground/pingtracker.h"

#include <optional>

/// What the ground end tells its user: on stdout what comes in and the summary, as text or one JSON object an
/// event; on stderr notes and errors. Quietly: the summary and errors.
class GroundReport
{
public:
    struct Sent
    {
        const CompletePayload &payload;
        int fragments;
        double seconds; ///< From the first fragment to the last one's leaving.
    };

    struct Watched
    {
        qint64 payloads = 0;
        qint64 bytes = 0;
        qint64 incomplete = 0; ///< Payloads of which some fragments have come, not all.
        qint64 malformed = 0;  ///< Frames cut short.
        double seconds = 0;
    };

    /// One rate of a bench.
    struct Step
    {
        int rate; ///< Pings a second, asked for.
        int sent;
        int answered;
        double perSecond; ///< Measured as they left; NaN for a single one.
        double medianMs;
    };

    struct Benched
    {
        double losslessPerSecond = 0;         ///< Pings, measured; 0: even the lowest rate had loss.
        std::optional<double> lossyPerSecond; ///< The same with loss, which ends the bench. NaN: one ping.
        qint64 payloads = 0;                  ///< From the host, meanwhile.
        qint64 missing = 0;                   ///< Gaps in their ids.
        double seconds = 0;
    };

    GroundReport(bool asJson, bool beQuiet)
        : json(asJson)
        , quiet(beQuiet)
    {}

    void pong(const PingTracker::Answer &answer) const;
    void payload(const CompletePayload &payload) const;
    void incomplete(const OpenPayloads::Part &part) const;
    void sent(const Sent &sent) const;
    void step(const Step &step) const;

    void pingSummary(const PingTracker &pings) const;
    void watchSummary(const Watched &watched) const;
    /// Of a send that was ended before all had left.
    void sendSummary(int left, int fragments) const;
    void benchSummary(const Benched &benched) const;

    void note(const QString &text) const;
    void error(const QString &text) const;
    /// As long as it is not known how to report.
    static void complain(const QString &text);

private:
    void print(const QString &line) const;

    bool json;
    bool quiet;
};
