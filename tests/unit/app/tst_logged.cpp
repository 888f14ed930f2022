// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"
#include "support/vtable.h"

#include "app/logged.h"

#include <QLoggingCategory>
#include <QSignalSpy>

#include <type_traits>

namespace {

static_assert(sizeof(Logged) == sizeof(void *), "no data of its own");
static_assert(std::is_same_v<decltype(&Logged::id), QString (Logged::*)() const>);
static_assert(std::is_same_v<decltype(&Logged::prefix), QString (Logged::*)() const>);
static_assert(std::is_same_v<decltype(&Logged::debug), QDebug (Logged::*)() const>);
static_assert(std::is_same_v<decltype(&Logged::info), QDebug (Logged::*)() const>);
static_assert(std::is_same_v<decltype(&Logged::trace), QDebug (Logged::*)(const QString &)>);
static_assert(std::is_same_v<decltype(&Logged::addPreamble), QDebug (Logged::*)(const QDebug &) const>);

class Tagged : public Logged
{
public:
    Tagged(const char *idText, const char *prefixText)
        : tag(QString::fromUtf8(idText))
        , second(QString::fromUtf8(prefixText))
    {}
    QString id() const override { return tag; }
    QString prefix() const override { return second; }

private:
    QString tag;
    QString second;
};

/// What the message handler is told beside the text.
struct Context
{
    int version = -1;
    const char *file = "";
    int line = -1;
    const char *function = "";
    QByteArray category;
};

Context seen;

void noteContext(QtMsgType, const QMessageLogContext &context, const QString &)
{
    seen = {context.version, context.file, context.line, context.function, QByteArray(context.category)};
}

} // namespace

class TestLogged : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaultTags_areEmpty();
    void debugLine_data();
    void debugLine();
    void infoLine_data();
    void infoLine();
    void traceLine_data();
    void traceLine();
    void warningAndCriticalLines_carryTagAndLevelWord();
    void strings_behindTheTag_areQuoted();
    void strings_unquotedByTheCaller_areNot();
    void tag_isNeverQuotedOrEscaped();
    void preamble_goesOnWithTheStreamItWasGiven();
    void preamble_withoutATag_leavesTheStreamAsItIs();
    void line_isWrittenWhenTheLastCopyIsGone();
    void context_isTheDefaultCategoryAndNoPlace_data();
    void context_isTheDefaultCategoryAndNoPlace();
    void debugLine_whileNotVerbose_isWritten();
    void debugEnabled_followsTheDefaultCategory();
    void sendInfo_reachesTheGroundWithTheTag();
    void sendError_reachesTheGroundAsAnError();
    void send_withoutATag_addsNothing();
    void virtualOperations_areIdAndPrefixAlone();
};

void TestLogged::defaultTags_areEmpty()
{
    QCOMPARE(Logged().id(), QString());
    QCOMPARE(Logged().prefix(), QString());
}

void TestLogged::debugLine_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QString>("line");
    QTest::newRow("tag") << QByteArray("TCP") << QStringLiteral("[TCP] Dbg: text 1");
    QTest::newRow("no tag") << QByteArray() << QStringLiteral("Dbg: text 1");
}

void TestLogged::debugLine()
{
    QFETCH(QByteArray, id);
    QFETCH(QString, line);
    LogCapture log;
    const Tagged logged(id.constData(), "P");
    logged.debug() << "text" << 1;
    QCOMPARE(log.take(), QStringList{line});
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtDebugMsg});
}

void TestLogged::infoLine_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QString>("line");
    QTest::newRow("tag") << QByteArray("TCP") << QStringLiteral("[TCP] text 1");
    QTest::newRow("no tag") << QByteArray() << QStringLiteral("text 1");
}

void TestLogged::infoLine()
{
    QFETCH(QByteArray, id);
    QFETCH(QString, line);
    LogCapture log;
    const Tagged logged(id.constData(), "P");
    logged.info() << "text" << 1;
    QCOMPARE(log.take(), QStringList{line});
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtInfoMsg});
}

void TestLogged::traceLine_data()
{
    QTest::addColumn<QByteArray>("id");
    QTest::addColumn<QByteArray>("prefix");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("line");
    const auto row = [](const char *id, const char *prefix, const char *name, const char *line) {
        QTest::newRow(line) << QByteArray(id) << QByteArray(prefix) << QString::fromLatin1(name)
                            << QString::fromLatin1(line);
    };
    row("TCP", "P", "N", "[TCP] Dbg: [P] [N] text");
    row("TCP", "P", "", "[TCP] Dbg: [P] text");
    row("TCP", "", "N", "[TCP] Dbg: [N] text");
    row("TCP", "", "", "[TCP] Dbg: text");
    row("", "P", "N", "Dbg: [P] [N] text");
    row("", "", "", "Dbg: text");
    row("%1", "%1", "%1", "[%1] Dbg: [%1] [%1] text");
}

void TestLogged::traceLine()
{
    QFETCH(QByteArray, id);
    QFETCH(QByteArray, prefix);
    QFETCH(QString, name);
    QFETCH(QString, line);
    LogCapture log;
    Tagged logged(id.constData(), prefix.constData());
    logged.trace(name) << "text";
    QCOMPARE(log.take(), QStringList{line});
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtDebugMsg});
}

void TestLogged::warningAndCriticalLines_carryTagAndLevelWord()
{
    LogCapture log;
    warningLine(Tagged("AP", "")) << "text";
    criticalLine(Tagged("AP", "")) << "text";
    warningLine(Logged()) << "text";
    criticalLine(Logged()) << "text";
    const QStringList expected{QStringLiteral("[AP] WARN: text"), QStringLiteral("[AP] CRIT: text"),
                               QStringLiteral("WARN: text"), QStringLiteral("CRIT: text")};
    QCOMPARE(log.take(), expected);
    const QList<QtMsgType> types{QtWarningMsg, QtCriticalMsg, QtWarningMsg, QtCriticalMsg};
    QCOMPARE(log.takenTypes(), types);
}

void TestLogged::strings_behindTheTag_areQuoted()
{
    LogCapture log;
    const QString text = QStringLiteral("a \"b\"");
    Tagged logged("TCP", "P");
    logged.debug() << text;
    logged.info() << text;
    logged.trace(QStringLiteral("N")) << text;
    warningLine(logged) << text;
    const QStringList expected{
        QStringLiteral("[TCP] Dbg: \"a \\\"b\\\"\""), QStringLiteral("[TCP] \"a \\\"b\\\"\""),
        QStringLiteral("[TCP] Dbg: [P] [N] \"a \\\"b\\\"\""), QStringLiteral("[TCP] WARN: \"a \\\"b\\\"\"")};
    QCOMPARE(log.take(), expected);
}

void TestLogged::strings_unquotedByTheCaller_areNot()
{
    LogCapture log;
    Tagged("TCP", "").info().noquote() << QStringLiteral("a b") << QStringLiteral("c");
    QCOMPARE(log.take(), QStringList{QStringLiteral("[TCP] a b c")});
}

void TestLogged::tag_isNeverQuotedOrEscaped()
{
    LogCapture log;
    Tagged logged("T \"\\\xC3\xA4", "P \"");
    logged.trace(QStringLiteral("N \"")) << "text";
    QCOMPARE(log.take(), QStringList{QString::fromUtf8("[T \"\\\xC3\xA4] Dbg: [P \"] [N \"] text")});
}

void TestLogged::preamble_goesOnWithTheStreamItWasGiven()
{
    LogCapture log;
    QMessageLogger logger;
    Tagged("TCP", "").addPreamble(logger.warning() << "before") << QStringLiteral("after");
    QCOMPARE(log.take(), QStringList{QStringLiteral("before [TCP] \"after\"")});
    QCOMPARE(log.takenTypes(), QList<QtMsgType>{QtWarningMsg});
}

void TestLogged::preamble_withoutATag_leavesTheStreamAsItIs()
{
    LogCapture log;
    QMessageLogger logger;
    Logged().addPreamble(logger.info().noquote().nospace()) << QStringLiteral("a") << QStringLiteral("b");
    QCOMPARE(log.take(), QStringList{QStringLiteral("ab")});
}

void TestLogged::line_isWrittenWhenTheLastCopyIsGone()
{
    LogCapture log;
    {
        QDebug outer = Tagged("TCP", "").info();
        {
            QDebug inner(outer);
            inner << "first";
        }
        QCOMPARE(log.take(), QStringList());
        outer << "second";
    }
    QCOMPARE(log.take(), QStringList{QStringLiteral("[TCP] first second")});
}

void TestLogged::context_isTheDefaultCategoryAndNoPlace_data()
{
    QTest::addColumn<int>("level");
    QTest::newRow("debug") << 0;
    QTest::newRow("info") << 1;
    QTest::newRow("trace") << 2;
    QTest::newRow("warning") << 3;
    QTest::newRow("critical") << 4;
}

void TestLogged::context_isTheDefaultCategoryAndNoPlace()
{
    QFETCH(int, level);
    Tagged logged("TCP", "P");
    seen = Context();
    const QtMessageHandler previous = qInstallMessageHandler(noteContext);
    const auto line = [&logged, level]() -> QDebug {
        switch (level) {
        case 0:
            return logged.debug();
        case 1:
            return logged.info();
        case 2:
            return logged.trace(QStringLiteral("N"));
        case 3:
            return warningLine(logged);
        default:
            return criticalLine(logged);
        }
    };
    line() << "text";
    qInstallMessageHandler(previous);
    QCOMPARE(seen.version, 2);
    QVERIFY(!seen.file);
    QCOMPARE(seen.line, 0);
    QVERIFY(!seen.function);
    QCOMPARE(seen.category, QByteArray("default"));
}

void TestLogged::debugLine_whileNotVerbose_isWritten()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load("[APP]\nVERBOSE=false\n");
    Tagged("TCP", "").debug() << "text";
    QCOMPARE(log.take(), QStringList{QStringLiteral("[TCP] Dbg: text")});
}

void TestLogged::debugEnabled_followsTheDefaultCategory()
{
    QVERIFY(Logged::debugEnabled());
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, false);
    const bool disabled = !Logged::debugEnabled();
    QLoggingCategory::defaultCategory()->setEnabled(QtDebugMsg, true);
    QVERIFY(disabled);
    QVERIFY(Logged::debugEnabled());
}

void TestLogged::sendInfo_reachesTheGroundWithTheTag()
{
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy sent(&f.app, &App::textToGround);
    Tagged("TCP", "P").sendInfo(QStringLiteral("X"));
    QCOMPARE(sent.count(), 1);
    const auto record = sent.first().first().value<TextToGround>();
    QCOMPARE(record.text, QStringLiteral("[TCP] X"));
    QCOMPARE(int(record.type), 0);
}

void TestLogged::sendError_reachesTheGroundAsAnError()
{
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy sent(&f.app, &App::textToGround);
    Tagged("TCP", "P").sendError(QStringLiteral("X"));
    QCOMPARE(sent.count(), 1);
    const auto record = sent.first().first().value<TextToGround>();
    QCOMPARE(record.text, QStringLiteral("[TCP] X"));
    QCOMPARE(int(record.type), 1);
}

void TestLogged::send_withoutATag_addsNothing()
{
    const LogCapture log;
    ApplicationFixture<> f;
    const QSignalSpy sent(&f.app, &App::textToGround);
    Logged().sendInfo(QStringLiteral("X"));
    Logged().sendError(QString());
    QCOMPARE(sent.count(), 2);
    QCOMPARE(sent[0].first().value<TextToGround>().text, QStringLiteral("X"));
    QCOMPARE(sent[1].first().value<TextToGround>().text, QString());
}

// Hosts derive from Logged: its table of virtual functions is theirs too.
void TestLogged::virtualOperations_areIdAndPrefixAlone()
{
    QVERIFY(std::is_trivially_destructible_v<Logged>);
    QCOMPARE(virtualSlot(&Logged::id), 0);
    QCOMPARE(virtualSlot(&Logged::prefix), 1);
}

APPLESS_TEST_MAIN(TestLogged)
#include "tst_logged.moc"
