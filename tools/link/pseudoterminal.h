// SPDX-License-Identifier: MIT
#pragma once

#include "link/filedescriptor.h"

#include <QByteArray>
#include <QString>

/// A pseudo-terminal in raw mode with a symlink to its far end, which stands in for a serial device.
///
/// The far end is held open by ourselves too: only so can we see what a client has not read yet, as the
/// client may have claimed the device for itself alone, which keeps others from opening it. The hang-up that
/// would tell of the last client leaving is not seen then; the file system's open and close events are
/// counted instead.
class PseudoTerminal
{
public:
    PseudoTerminal() = default;
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    /// Makes the terminal and the symlink. A symlink that points to nothing or to another pseudo-terminal is
    /// replaced; anything else at that path is left alone and makes this fail. On failure error says why.
    [[nodiscard]] bool open(const QString &linkPath, QString *error);

    /// Our end; not blocking.
    int descriptor() const { return ourEnd.get(); }
    /// Becomes readable when a client opens or closes the far end.
    int eventsDescriptor() const { return events.get(); }
    /// Takes the events and returns how often the far end is open now.
    int countClients();

    /// Whether bytes written to our end wait to be read at the far end.
    bool hasUnread() const;
    /// Throws away what is unread at the far end and makes it raw again, for the next client.
    void clean();

private:
    bool openEnds(QString *error);
    bool watchFarEnd(QString *error);
    bool makeLink(QString *error);
    bool mayReplaceLink() const;
    bool setRaw();

    FileDescriptor ourEnd;
    FileDescriptor farEnd;
    FileDescriptor events;
    QByteArray farPath;
    QByteArray link; // empty until it is made
    int clients = 0;
};
