// SPDX-License-Identifier: MIT
#pragma once

#include "communication/payloadmessage.h"

#include <QThread>

class ICommunicator;

/// Sends payloads that tell who sent them: the thread's number in 1 byte, the payload's in 4, little-endian,
/// then filling. All leave at once, not through the queue.
class SendingThread : public QThread
{
    Q_OBJECT

public:
    SendingThread(ICommunicator *communicator, int number, int count);

    /// The payload with this number of a thread, of 5 to 204 bytes: one to three fragments.
    static CompletePayload payload(int thread, int number);

protected:
    void run() override;

private:
    ICommunicator *communicator;
    int number;
    int count;
};
