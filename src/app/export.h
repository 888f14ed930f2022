// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Marks what the shared library offers to hosts; everything else in it is hidden.
#ifdef NOFLAILSTEN_LIBRARY
#define NOFLAILSTEN_EXPORT Q_DECL_EXPORT
#else
#define NOFLAILSTEN_EXPORT Q_DECL_IMPORT
#endif
