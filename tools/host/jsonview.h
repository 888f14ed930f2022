// SPDX-License-Identifier: MIT
#pragma once

#include "host/hostview.h"

/// One JSON object a line for each signal and event.
class JsonView : public HostView
{
public:
    void showSignal(const QString &name, const QCborValue &value) override;
    void showEvent(const HostEvent &event) override;
    void showStatus(const LatestValues &values) override;
    void showPrompt() override {}
    void showTyped(const QString &) override {}
};
