// SPDX-License-Identifier: MIT
#include "support/logcapture.h"
#include "support/testmain.h"

#include "autopilot/ibase.h"

#include <QPointer>
#include <QTemporaryDir>

#include <csignal>
#include <type_traits>

namespace {

static_assert(std::is_base_of_v<QObject, IBase> && std::is_base_of_v<Logged, IBase>);

class Tagged : public IBase
{
public:
    Tagged()
        : IBase(nullptr)
    {}
    QString id() const override { return QStringLiteral("TAG"); }
};

} // namespace

class TestIBase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void base_isAQObjectWithAParent();
    void base_addsNothingToTheMetaObject();
    void base_startsWithTheQObject();
    void command_isLoggedWithItsStatus_data();
    void command_isLoggedWithItsStatus();
    void command_ofATaggedObject_isLoggedWithTheTag();
    void command_hasRunWhenTheCallReturns();
    void command_goesThroughTheShellAndPath();
    void command_isHandedOverAsLatin1();
    void command_whoseStatusCannotBeHad_fails();
};

void TestIBase::base_isAQObjectWithAParent()
{
    const LogCapture log;
    auto *parent = new QObject;
    const QPointer<IBase> base = new IBase(parent);
    QCOMPARE(base->parent(), parent);
    QCOMPARE(base->id(), QString());
    QCOMPARE(base->prefix(), QString());
    delete parent;
    QVERIFY(!base);
}

void TestIBase::base_addsNothingToTheMetaObject()
{
    const QMetaObject &meta = IBase::staticMetaObject;
    QCOMPARE(QByteArray(meta.className()), QByteArray("IBase"));
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.methodCount(), meta.methodOffset());
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
}

void TestIBase::base_startsWithTheQObject()
{
    IBase base(nullptr);
    QCOMPARE(static_cast<void *>(static_cast<QObject *>(&base)), static_cast<void *>(&base));
    QVERIFY(static_cast<void *>(static_cast<Logged *>(&base)) > static_cast<void *>(&base));
    QCOMPARE(sizeof(IBase), sizeof(QObject) + sizeof(Logged));
}

void TestIBase::command_isLoggedWithItsStatus_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<bool>("succeeds");
    QTest::addColumn<QString>("line");
    const auto row = [](const char *command, bool succeeds, const char *line) {
        QTest::newRow(command) << QString::fromLatin1(command) << succeeds << QString::fromLatin1(line);
    };
    row("true", true, "\"true\" -> 0");
    row("false", false, "\"false\" -> 256");
    row("exit 3", false, "\"exit 3\" -> 768");
    row("kill -9 $$", false, "\"kill -9 $$\" -> 9");
    row("no-such-command 2>&-", false, "\"no-such-command 2>&-\" -> 32512");
    row("test \"a b\" = 'a b'", true, "\"test \\\"a b\\\" = 'a b'\" -> 0");
    row("", true, "\"\" -> 0");
}

void TestIBase::command_isLoggedWithItsStatus()
{
    QFETCH(QString, command);
    QFETCH(bool, succeeds);
    QFETCH(QString, line);
    LogCapture log;
    QCOMPARE(IBase(nullptr).runSystemCommand(command), succeeds);
    QCOMPARE(log.take(), QStringList{line});
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtInfoMsg});
}

void TestIBase::command_ofATaggedObject_isLoggedWithTheTag()
{
    LogCapture log;
    QVERIFY(Tagged().runSystemCommand(QStringLiteral("true")));
    QCOMPARE(log.take(), QStringList{QStringLiteral("[TAG] \"true\" -> 0")});
}

void TestIBase::command_hasRunWhenTheCallReturns()
{
    LogCapture log;
    const QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("made"));
    QVERIFY(IBase(nullptr).runSystemCommand(QStringLiteral("touch '%1'").arg(file)));
    QVERIFY(QFile::exists(file));
    QCOMPARE(log.take().size(), 1);
}

void TestIBase::command_goesThroughTheShellAndPath()
{
    LogCapture log;
    takeStandInCalls();
    QVERIFY(
        IBase(nullptr).runSystemCommand(QStringLiteral("nmcli radio wifi off && date --set \"2030-01-01\"")));
    const QStringList calls{QStringLiteral("nmcli radio wifi off"), QStringLiteral("date --set 2030-01-01")};
    QCOMPARE(takeStandInCalls(), calls);
    QCOMPARE(log.take().size(), 1);
}

void TestIBase::command_isHandedOverAsLatin1()
{
    LogCapture log;
    const QString e = QString(QChar(0xE9));
    QVERIFY(IBase(nullptr).runSystemCommand(QStringLiteral("test '%1' = \"$(printf '\\351')\"").arg(e)));
    const QString unknown = QString(QChar(0x20AC));
    QVERIFY(IBase(nullptr).runSystemCommand(QStringLiteral("test '%1' = '?'").arg(unknown)));
    QCOMPARE(log.take().size(), 2);
}

void TestIBase::command_whoseStatusCannotBeHad_fails()
{
    LogCapture log;
    const auto previous = std::signal(SIGCHLD, SIG_IGN);
    const bool succeeded = IBase(nullptr).runSystemCommand(QStringLiteral("true"));
    std::signal(SIGCHLD, previous);
    QVERIFY(!succeeded);
    QCOMPARE(log.take(), QStringList{QStringLiteral("\"true\" -> -1")});
}

APP_TEST_MAIN(TestIBase)
#include "tst_ibase.moc"
