// SPDX-License-Identifier: MIT
#pragma once

#include <QCborValue>

/// A value as compact JSON text, maps in their own order. Numbers read back exactly, zero with its sign,
/// which Qt's JSON classes do not keep; NaN and infinity are null.
QByteArray toJsonText(const QCborValue &value);
