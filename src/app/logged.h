// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QDebug>
#include <QString>

/// Logging mixin of every object of the plugin. A line starts with the object's tag in square brackets:
///
///     [TCP] Dbg: text            debug()
///     [TCP] text                 info()
///     [TCP] Dbg: [P] [N] text    trace("N"), where prefix() is "P"
///
/// Lines go through the Qt message system (default category, no file or line); where they end up is the
/// business of the host's message handler. A line is written when the last copy of the returned stream is
/// gone. Warnings and critical lines are opened with warningLine() and criticalLine(); they carry the tag and
/// "WARN:" or "CRIT:".
///
/// Not deleted through a Logged pointer: the destructor is not virtual, and id() is the first of the two
/// virtual functions. Thread-safe as far as the Qt message system is; id() and prefix() are called on the
/// calling thread.
class NOFLAILSTEN_EXPORT Logged
{
public:
    Logged() = default;

    /// The object's tag; empty: lines carry no brackets.
    virtual QString id() const;
    /// A second tag, used by trace() alone.
    virtual QString prefix() const;

    QDebug debug() const;
    QDebug info() const;
    QDebug trace(const QString &name);
    /// Writes the tag to the stream, unquoted, and returns the stream quoting again.
    QDebug addPreamble(const QDebug &d) const;

    /// Sends a text to the ground station with the tag in front (App::sendMessage()), as an error or as
    /// information. Nothing goes to the log. Does nothing as long as there is no App.
    void sendError(const QString &text);
    void sendInfo(const QString &text);

    /// Whether the default category writes debug lines at all. Asked before a line is put together on the
    /// road of every message, where formatting it in vain would cost more than handling the message.
    static bool debugEnabled();

protected:
    Logged(const Logged &) = default;
    Logged &operator=(const Logged &) = default;
};

/// Opens a warning or a critical line with the tag of `by` and the level word.
NOFLAILSTEN_EXPORT QDebug warningLine(const Logged &by);
NOFLAILSTEN_EXPORT QDebug criticalLine(const Logged &by);
