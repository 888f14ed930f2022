// SPDX-License-Identifier: MIT
#pragma once

#include <QString>

#include <optional>

/// Where a tool's link goes, as given on the command line:
///
///     tcp:HOST:PORT   a TCP address; an IPv6 address stands in brackets: tcp:[::1]:5760
///     PATH,BAUD       a serial device, for example /dev/ttyUSB0,57600
///     pty:LINK        a pseudo-terminal with a symlink LINK to its far end
struct LinkAddress
{
    enum class Kind { Tcp, Serial, Pty };

    Kind kind = Kind::Tcp;
    QString host;     ///< Tcp: name or address, without brackets.
    quint16 port = 0; ///< Tcp: 0 lets a server pick one.
    QString path;     ///< Serial: the device. Pty: the symlink.
    qint32 baud = 0;  ///< Serial: bits a second, above 0.

    /// Nothing for a text that is no address; then error says why, in words fit for the user.
    [[nodiscard]] static std::optional<LinkAddress> parse(const QString &text, QString *error);

    /// The text that parse() reads back.
    QString toString() const;
};
