// SPDX-License-Identifier: MIT
#include "communication/fragment.h"
#include "communication/reassemblymodel.h"

#include <QtTest>

#include <optional>
#include <random>
#include <set>
#include <string>

namespace {

/// Fragments among so few ids, totals, offsets and kinds that they meet each other all the time.
class FragmentSource
{
public:
    PayloadMessage next()
    {
        const int id = pick(30);
        const int total = pick(12) == 0 ? pick(8) : (id % 4) * 2;
        const int offset = pick(12) == 0 ? pick(9) : pick(4) * 2;
        const int size = pick(3) == 0 ? pick(9) : 2;
        const QByteArray data(size, static_cast<char>('a' + pick(26)));
        return fragmentOf(id, total, offset, data, pick(40) == 0 ? 2 : 1, pick(40) == 0 ? 5 : 4);
    }

private:
    // Not a distribution of the library: those differ from one to the other.
    int pick(unsigned int count) { return static_cast<int>(generator() % count); }

    std::mt19937 generator{20240307};
};

QByteArray describe(int number, const PayloadMessage &fragment)
{
    return QStringLiteral("fragment %1: id %2, total %3, offset %4, %5 bytes")
        .arg(number)
        .arg(fragment.header.id)
        .arg(fragment.header.total)
        .arg(fragment.header.offset)
        .arg(fragment.data.size())
        .toLatin1();
}

} // namespace

class TestReassemblyModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void randomFragments_areTreatedAsByTheRules();
};

void TestReassemblyModel::randomFragments_areTreatedAsByTheRules()
{
    FragmentSource source;
    ReassemblyModel model;
    OnboardMessageDispatcher dispatcher;
    for (int number = 0; number < 20000; ++number) {
        const PayloadMessage fragment = source.next();
        const std::optional<QByteArray> expected = model.put(fragment);
        const auto complete = dispatcher.putMessage(fragment);
        QVERIFY2(expected.has_value() == !complete.isNull(), describe(number, fragment));
        if (!complete)
            continue;
        QVERIFY2(complete->data == *expected, describe(number, fragment));
        QVERIFY2(complete->id == fragment.header.id, describe(number, fragment));
        QVERIFY2(complete->messageId == fragment.header.messageId, describe(number, fragment));
        QVERIFY2(complete->payloadId == fragment.header.payloadId, describe(number, fragment));
    }
    const std::set<std::string> all = {
        "other total",       "other message id", "other payload id", "too much data", "repeat",
        "stored in a group", "pushed out",       "opened with data", "opened empty",  "gap or overlap",
        "complete, empty",   "complete",         "incomplete"};
    QVERIFY(model.branchesTaken() == all);
}

QTEST_GUILESS_MAIN(TestReassemblyModel)
#include "tst_reassemblymodel.moc"
