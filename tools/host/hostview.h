// SPDX-License-Identifier: MIT
#pragma once

#include <QCborValue>
#include <QString>
#include <QStringList>

class LatestValues;

/// Something that happened to the host, apart from the signals.
struct HostEvent
{
    const char *name;                 ///< For example "link-lost".
    const char *detailName = nullptr; ///< What the detail is, for example "reason"; null: there is none.
    QCborValue detail = {};
};

/// How a view words an event: "link lost: disconnected".
QString eventText(const HostEvent &event);
/// The last value of each signal, one a line.
QString statusText(const LatestValues &values);

/// What stdout shows.
class HostView
{
public:
    HostView() = default;
    virtual ~HostView() = default;
    HostView(const HostView &) = delete;
    HostView &operator=(const HostView &) = delete;

    virtual void showSignal(const QString &name, const QCborValue &value) = 0;
    virtual void showEvent(const HostEvent &event) = 0;
    virtual void showStatus(const LatestValues &values) = 0;
    /// A line is awaited from the terminal: the next thing that is written there is a prompt.
    virtual void showPrompt() = 0;
    /// The command that runs now, as written, a script's with its line's number; empty: none runs.
    virtual void showCommand(const QString & /*text*/) {}
    /// A line was typed.
    virtual void showTyped(const QString &line) = 0;
    /// What a word that is being typed can become. @return false: the prompt itself is to list it.
    virtual bool showCandidates(const QStringList & /*words*/) { return false; }
};
