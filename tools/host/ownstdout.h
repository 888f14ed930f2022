// SPDX-License-Identifier: MIT
#pragma once

/// Keeps stdout to this program: the programs that the plugin runs (such as `date`, which prints the time it
/// has set) get stderr for theirs, so that they cannot write in between. To be called before anything is
/// printed. From then on the descriptor of stdout is fileno(stdout).
void keepStdoutToOurselves();
