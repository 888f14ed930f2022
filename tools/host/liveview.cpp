// SPDX-License-Identifier: MIT
#include "host/liveview.h"

#include "host/latestvalues.h"
#include "host/linkreport.h"
#include "host/logoutput.h"
#include "host/valuewords.h"

#include <QCborMap>
#include <QDateTime>

#include <cstdio>

namespace {

constexpr int DrawPeriodMs = 200;
constexpr int ShownTexts = 3;
constexpr int TableRows = 1 + 1 + 12 + 1 + ShownTexts + 1; // title, link, state, script, texts, ruler
constexpr int LabelWidth = 16;
constexpr int TrackColumns = 40;
constexpr int LeastColumnsWithTrack = 110;
constexpr int AgeWidth = 9;
constexpr qint64 StaleMs = 5000;
constexpr qint64 LateHeartbeatMs = 3000; // they come once a second, and so does the report

const char *colour(StatusTable::Tone tone)
{
    if (qEnvironmentVariableIsSet("NO_COLOR"))
        return "";
    switch (tone) {
    case StatusTable::Tone::Good:
        return "\x1b[32m";
    case StatusTable::Tone::Bad:
        return "\x1b[33m";
    case StatusTable::Tone::Plain:
        break;
    }
    return "";
}

QString clipped(const QString &text, int width)
{
    return text.size() > width ? text.left(width) : text.leftJustified(width);
}

} // namespace

LiveView::LiveView(const LatestValues &latest, const QString &heading)
    : values(latest)
    , table(latest)
    , title(heading)
    , link(QStringLiteral("not open yet"))
    , screen(::fileno(stdout), TableRows)
    , childOutput(screen)
{
    if (childOutput.isActive())
        LogOutput::setScreen(&screen);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { draw(); });
    timer.start(DrawPeriodMs);
    draw();
}

LiveView::~LiveView()
{
    LogOutput::setScreen(nullptr);
}

bool LiveView::isPossible()
{
    return Screen::fits(::fileno(stdout), TableRows);
}

void LiveView::showSignal(const QString &name, const QCborValue &value)
{
    if (name == QLatin1String("communicator.receivedData"))
        screen.scroll(QString(QLatin1String("from the ground: ") + ValueWords::payload(value)).toUtf8());
    if (name == QLatin1String("virtualStick.localPositionChanged") && table.hasOrigin())
        track.add(value.toMap().value(QLatin1String("x")).toDouble(qQNaN()),
                  value.toMap().value(QLatin1String("y")).toDouble(qQNaN()));
    if (name != QLatin1String("textToGround"))
        return;
    const QString text = value.toMap().value(QLatin1String("text")).toString().simplified();
    texts.append(QTime::currentTime().toString(QStringLiteral("HH:mm:ss  ")) + text);
    if (texts.size() > ShownTexts)
        texts.removeFirst();
}

void LiveView::showEvent(const HostEvent &event)
{
    const QString text = eventText(event);
    if (text.startsWith(QLatin1String("link "))) {
        link = text.mid(5);
        linkTone =
            text.startsWith(QLatin1String("link open")) ? StatusTable::Tone::Good : StatusTable::Tone::Bad;
    }
    if (qstrcmp(event.name, "error") != 0)
        screen.scroll(text.toUtf8());
    draw();
}

void LiveView::showStatus(const LatestValues &latest)
{
    screen.scroll(statusText(latest).toUtf8());
}

void LiveView::showPrompt()
{
    screen.prompt();
}

void LiveView::showTyped(const QString &line)
{
    screen.scroll("> " + line.toUtf8());
}

// The terminal's last row, where the prompt would list them, does not scroll.
bool LiveView::showCandidates(const QStringList &words)
{
    QString line;
    for (const QString &word : words) {
        if (!line.isEmpty() && line.size() + 2 + word.size() >= screen.columns()) {
            screen.scroll(line.toUtf8());
            line.clear();
        }
        line += (line.isEmpty() ? QString() : QStringLiteral("  ")) + word;
    }
    screen.scroll(line.toUtf8());
    return true;
}

void LiveView::draw()
{
    QVector<QByteArray> rows{titleRow(), tableRow(linkRow())};
    const QVector<StatusTable::Row> state = stateRows();
    for (const StatusTable::Row &row : state)
        rows.append(tableRow(row));
    rows.append(tableRow({QStringLiteral("Script"), command.isEmpty() ? QStringLiteral("-") : command,
                          QString(), StatusTable::Tone::Plain, true}));
    for (int i = 0; i < ShownTexts; ++i)
        rows.append(tableRow({i == 0 ? QStringLiteral("To the ground") : QString(), texts.value(i), QString(),
                              StatusTable::Tone::Plain, true}));
    addTrack(rows);
    rows.append(ruler());
    screen.drawTable(rows);
}

// How long it has been silent comes first, as a narrow terminal cuts the rest.
StatusTable::Row LiveView::linkRow() const
{
    QStringList parts{link};
    const QString report = QLatin1String(LinkReport::Name);
    const QCborValue age = values.value(report).toMap().value(QLatin1String("heartbeatAgeS"));
    const qint64 ageMs = static_cast<qint64>(age.toDouble() * 1000) + values.ageMs(report);
    if (age.isDouble() && ageMs >= LateHeartbeatMs)
        parts.append(QStringLiteral("heartbeat %1 ago").arg(ValueWords::age(ageMs)));
    const QString trouble = table.linkTrouble();
    if (!trouble.isEmpty())
        parts.append(trouble);
    return {QStringLiteral("Link"), parts.join(QStringLiteral(" \u00b7 ")), QString(), linkTone, true};
}

// The last status that the plugin told may be from before the link was lost.
QVector<StatusTable::Row> LiveView::stateRows() const
{
    QVector<StatusTable::Row> rows = table.rows();
    StatusTable::Row &autopilot = rows.first();
    if (linkTone == StatusTable::Tone::Bad) {
        autopilot.text = QStringLiteral("no link");
        autopilot.tone = StatusTable::Tone::Bad;
    }
    return rows;
}

int LiveView::tableColumns() const
{
    return hasTrack() ? screen.columns() - TrackColumns - 1 : screen.columns();
}

bool LiveView::hasTrack() const
{
    return !track.isEmpty() && screen.columns() >= LeastColumnsWithTrack;
}

/// The track stands to the right of the table.
void LiveView::addTrack(QVector<QByteArray> &rows) const
{
    if (!hasTrack())
        return;
    const int first = 1; // below the title
    const QStringList lines = track.draw(rows.size() - first, TrackColumns);
    for (int i = 0; i < lines.size(); ++i)
        rows[first + i] += "\x1b[2m|\x1b[0m" + lines.at(i).toUtf8();
}

QByteArray LiveView::titleRow() const
{
    const QString now = QTime::currentTime().toString(QStringLiteral("HH:mm:ss "));
    const QString left = clipped(QLatin1Char(' ') + title, screen.columns() - now.size());
    return "\x1b[7m" + (left + now).toUtf8() + "\x1b[0m";
}

QByteArray LiveView::tableRow(const StatusTable::Row &row) const
{
    const qint64 ageMs = row.signal.isEmpty() ? -1 : values.ageMs(row.signal);
    const QString label = clipped(QLatin1Char(' ') + row.label, LabelWidth);
    const int ageWidth = row.signal.isEmpty() ? 0 : AgeWidth;
    const QString text = clipped(row.text, tableColumns() - LabelWidth - ageWidth);
    const QString age = ValueWords::age(ageMs).rightJustified(qMax(0, ageWidth - 1));
    const char *ageColour = colour(ageMs > StaleMs ? StatusTable::Tone::Bad : StatusTable::Tone::Plain);
    return "\x1b[2m" + label.toUtf8() + "\x1b[0m" + colour(row.tone) + text.toUtf8() + "\x1b[0m\x1b[2m" +
           ageColour + age.toUtf8() + "\x1b[0m";
}

QByteArray LiveView::ruler() const
{
    return "\x1b[2m" + QString(screen.columns(), QChar(0x2500)).toUtf8() + "\x1b[0m";
}
