// SPDX-License-Identifier: MIT
#pragma once

#include <QByteArray>
#include <QString>

class Screen;

/// Where log lines go: to stderr as they are, one a line; while a screen is set, to its scrolling part. Any
/// thread may log.
namespace LogOutput {

/// Takes over the Qt message system. Debug lines are off.
void install();
/// Whether debug lines are written. They are not even put together while they are off.
void setVerbose(bool verbose);
/// A screen to write to from now on; null: none. Not to be destroyed while it is set.
void setScreen(Screen *screen);
/// One line of the program's own, with its name in front.
void complain(const QString &message);

} // namespace LogOutput
