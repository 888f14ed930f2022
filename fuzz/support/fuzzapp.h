// SPDX-License-Identifier: MIT
#pragma once

#include "app/app.h"

#include <QString>

/// The one App of a fuzzer, made at the first call. Log lines are formatted, debug lines too, and thrown
/// away; no command reaches a shell.
App &fuzzApp();

/// A file that does not exist, in a folder in memory that goes away with the process.
QString scratchFile(const QString &suffix);
