// SPDX-License-Identifier: MIT
#include "communication/onboardmessagedispatcher.h"

#include <QtTest>

#include <rapidcheck.h>

#include <algorithm>
#include <random>
#include <utility>

namespace {

CompletePayload anyPayload()
{
    const auto size = *rc::gen::inRange(1, 66000);
    const auto seed = *rc::gen::arbitrary<unsigned int>();
    QByteArray data(size, '\0');
    std::minstd_rand random(seed);
    std::generate(data.begin(), data.end(), [&random] { return static_cast<char>(random()); });
    return {*rc::gen::arbitrary<quint16>(), MessageId{*rc::gen::arbitrary<quint8>()},
            PayloadId{*rc::gen::arbitrary<quint8>()}, data};
}

// std::shuffle differs from one standard library to the other.
QVector<PayloadMessage> shuffled(QVector<PayloadMessage> fragments, unsigned int seed)
{
    std::minstd_rand random(seed);
    for (int i = fragments.size() - 1; i > 0; --i)
        std::swap(fragments[i], fragments[static_cast<int>(random() % static_cast<unsigned int>(i + 1))]);
    return fragments;
}

} // namespace

class TestPayloadProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void payload_splitAndShuffled_isItselfAgain();
    void payloads_interleaved_areThemselvesAgain();
};

void TestPayloadProperties::payload_splitAndShuffled_isItselfAgain()
{
    QVERIFY(rc::check("a payload, split and put together in any order, is itself", [] {
        const CompletePayload payload = anyPayload();
        const auto maximum = *rc::gen::inRange(9U, 256U);
        const auto fragments =
            shuffled(PayloadMessage::splitDataBlock(payload, maximum), *rc::gen::arbitrary<unsigned int>());
        OnboardMessageDispatcher dispatcher;
        for (int i = 0; i < fragments.size() - 1; ++i)
            RC_ASSERT(dispatcher.putMessage(fragments[i]).isNull());
        if (payload.data.size() % 65536 == 0)
            RC_SUCCEED("has no fragments");
        const auto complete = dispatcher.putMessage(fragments.last());
        RC_ASSERT(!complete.isNull());
        // The size counts modulo 65536.
        RC_ASSERT(complete->data == payload.data.left(payload.data.size() % 65536));
        RC_ASSERT(complete->id == payload.id);
        RC_ASSERT(complete->messageId == payload.messageId);
        RC_ASSERT(complete->payloadId == payload.payloadId);
    }));
}

void TestPayloadProperties::payloads_interleaved_areThemselvesAgain()
{
    QVERIFY(rc::check("up to twenty payloads at a time do not disturb each other", [] {
        const auto count = *rc::gen::inRange(1, 21);
        const auto size = *rc::gen::inRange(1, 2000);
        QVector<PayloadMessage> fragments;
        for (int id = 0; id < count; ++id)
            fragments += PayloadMessage::splitDataBlock({static_cast<quint16>(id), MessageId{1}, PayloadId{4},
                                                         QByteArray(size, static_cast<char>(id))},
                                                        96);
        OnboardMessageDispatcher dispatcher;
        int complete = 0;
        const auto inAnyOrder = shuffled(fragments, *rc::gen::arbitrary<unsigned int>());
        for (const PayloadMessage &fragment : inAnyOrder) {
            const auto payload = dispatcher.putMessage(fragment);
            if (!payload)
                continue;
            ++complete;
            RC_ASSERT(payload->data == QByteArray(size, static_cast<char>(payload->id)));
        }
        RC_ASSERT(complete == count);
    }));
}

QTEST_GUILESS_MAIN(TestPayloadProperties)
#include "tst_payloadproperties.moc"
