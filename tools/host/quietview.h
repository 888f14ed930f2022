// SPDX-License-Identifier: MIT
#pragma once

#include "host/hostview.h"

/// Shows nothing but what is asked for, and what a user must not miss (hints, trouble with the link, a hover
/// that the vehicle is left in), which goes to stderr.
class QuietView : public HostView
{
public:
    void showSignal(const QString &, const QCborValue &) override {}
    void showEvent(const HostEvent &event) override;
    void showStatus(const LatestValues &values) override;
    void showPrompt() override {}
    void showTyped(const QString &) override {}

protected:
    static void print(const QString &line);
};
