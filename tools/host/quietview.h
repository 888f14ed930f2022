// SPDX-License-Identifier: MIT
#pragma once

#include "host/hostview.h"

/// Shows nothing but what is asked for, and hints, which go to stderr.
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
