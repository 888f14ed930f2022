// SPDX-License-Identifier: MIT
#include "sendingthread.h"

#include "communication/icommunicator.h"

#include <QtEndian>

namespace {

constexpr int HeadSize = 5;

} // namespace

SendingThread::SendingThread(ICommunicator *target, int threadNumber, int payloadCount)
    : communicator(target)
    , number(threadNumber)
    , count(payloadCount)
{}

CompletePayload SendingThread::payload(int thread, int number)
{
    constexpr int MaxFilling = 200;
    QByteArray data(HeadSize + (number * 37 + thread) % MaxFilling, 'x');
    data[0] = static_cast<char>(thread);
    qToLittleEndian(static_cast<quint32>(number), data.data() + 1);
    return {static_cast<quint16>(number), MessageId{1}, PayloadId{254}, data};
}

void SendingThread::run()
{
    for (int i = 0; i < count; ++i)
        communicator->sendData(payload(number, i));
}
