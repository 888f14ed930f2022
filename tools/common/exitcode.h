// SPDX-License-Identifier: MIT
#pragma once

/// What the tools exit with.
namespace ExitCode {

enum : int {
    Done = 0,
    Usage = 1,
    BadFile = 2,     ///< Bad configuration or file.
    NoPlugin = 3,    ///< The plugin could not be loaded.
    LinkFailed = 4,  ///< A link could not be opened.
    NotHappened = 5, ///< What was asked for did not happen: time-out, no answer, unhealthy.
};

} // namespace ExitCode
