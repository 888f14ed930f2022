// SPDX-License-Identifier: MIT
#include "communication/fragment.h"

#include <QtTest>

#include <map>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

/// The rules of reassembly, slow and plain: keeps every fragment in a list and looks it through each time.
class Model
{
public:
    std::optional<QByteArray> put(const PayloadMessage &fragment)
    {
        const int id = fragment.header.id;
        if (open.count(id) != 0) {
            if (const char *reason = rejection(open[id], fragment)) {
                hit.insert(reason);
                open.erase(id);
                return std::nullopt;
            }
            hit.insert("stored in a group");
            open[id].kept.push_back(fragment);
        } else {
            begin(fragment);
        }
        return finish(id);
    }

    std::set<std::string> hit; // the branches that were taken

private:
    struct Group
    {
        PayloadMessageHeader first;
        std::vector<PayloadMessage> kept;

        int received() const
        {
            int sum = 0;
            for (const PayloadMessage &fragment : kept)
                sum += fragment.data.size();
            return sum;
        }
    };

    static const char *rejection(const Group &group, const PayloadMessage &fragment)
    {
        if (fragment.header.total != group.first.total)
            return "other total";
        if (fragment.header.messageId != group.first.messageId)
            return "other message id";
        if (fragment.header.payloadId != group.first.payloadId)
            return "other payload id";
        if (fragment.data.size() > group.first.total - group.received())
            return "too much data";
        for (const PayloadMessage &other : group.kept)
            if (other.header.offset == fragment.header.offset)
                return "repeat";
        return nullptr;
    }

    void begin(const PayloadMessage &fragment)
    {
        while (open.size() >= 20) {
            hit.insert("pushed out");
            open.erase(open.begin());
        }
        Group group{fragment.header, {}};
        const bool fits = fragment.data.size() <= fragment.header.total;
        hit.insert(fits ? "opened with data" : "opened empty");
        if (fits)
            group.kept.push_back(fragment);
        open[fragment.header.id] = group;
    }

    std::optional<QByteArray> finish(int id)
    {
        const Group &group = open.at(id);
        if (group.received() != group.first.total) {
            hit.insert("incomplete");
            return std::nullopt;
        }
        QByteArray data;
        for (int offset = 0; offset <= 65535; ++offset)
            for (const PayloadMessage &fragment : group.kept)
                if (fragment.header.offset == offset) {
                    if (data.size() != offset) {
                        hit.insert("gap or overlap");
                        return std::nullopt;
                    }
                    data += fragment.data;
                }
        hit.insert(data.isEmpty() ? "complete, empty" : "complete");
        open.erase(id);
        return data;
    }

    std::map<int, Group> open;
};

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
    Model model;
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
    QVERIFY(model.hit == all);
}

QTEST_GUILESS_MAIN(TestReassemblyModel)
#include "tst_reassemblymodel.moc"
