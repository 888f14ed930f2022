// SPDX-License-Identifier: MIT
#pragma once

#include <QObject>

/// Where a script player's lines come from, one for each that is asked for.
class LineSource : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// Asks for the next line; it comes from the event loop, or ended() does.
    virtual void request() = 0;

Q_SIGNALS:
    /// A line without its end.
    void lineRead(const QString &line);
    void ended();
};
