// SPDX-License-Identifier: MIT
#pragma once

#include "host/childoutput.h"
#include "host/hostview.h"
#include "host/screen.h"
#include "host/statustable.h"
#include "host/trackpicture.h"

#include <QStringList>
#include <QTimer>

/// A table at the top of the terminal, with log lines and what is typed below it.
class LiveView : public HostView
{
public:
    /// @param title stands above the table.
    LiveView(const LatestValues &values, const QString &title);
    ~LiveView() override;

    /// Whether stdout is a terminal that is big enough.
    static bool isPossible();

    void showSignal(const QString &name, const QCborValue &value) override;
    void showEvent(const HostEvent &event) override;
    void showStatus(const LatestValues &values) override;
    void showPrompt() override;
    void showTyped(const QString &line) override;
    void showCommand(const QString &text) override { command = text.simplified(); }
    bool showCandidates(const QStringList &words) override;

private:
    void draw();
    StatusTable::Row linkRow() const;
    QVector<StatusTable::Row> stateRows() const;
    QByteArray titleRow() const;
    QByteArray tableRow(const StatusTable::Row &row) const;
    QByteArray ruler() const;
    int tableColumns() const;
    bool hasTrack() const;
    void addTrack(QVector<QByteArray> &rows) const;

    const LatestValues &values;
    StatusTable table;
    TrackPicture track;
    QString title;
    QString link;
    StatusTable::Tone linkTone = StatusTable::Tone::Plain; // good while the link is open
    QString command;
    QStringList texts; // the last ones to the ground, newest last
    Screen screen;
    ChildOutput childOutput; // on the screen
    QTimer timer;
};
