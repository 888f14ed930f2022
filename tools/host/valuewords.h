// SPDX-License-Identifier: MIT
#pragma once

#include <QCborValue>
#include <QString>

/// Values of signals in words that people read, with units. What has not been seen is "-".
namespace ValueWords {

QString autopilotStatus(const QCborValue &status);
/// Radians in, degrees out.
QString angle(const QCborValue &radians);
QString metres(const QCborValue &value);
QString speed(const QCborValue &metresPerSecond);
/// Whether the vehicle is armed, and its mode.
QString flightMode(const QCborValue &record);
/// Latitude and longitude as N, S, E and W.
QString position(const QCborValue &coordinates);
QString localPosition(const QCborValue &northEastDown);
/// Horizontal distance, and height above, of a local position.
QString distanceAndHeight(const QCborValue &northEastDown);
/// Value and range status of an altitude.
QString altitude(const QCborValue &reading);
QString onOff(const QCborValue &value);
/// A payload by its kind, id and size; with its first bytes, as text if they are one, if the record has them.
QString payload(const QCborValue &record);
/// What went wrong on a link, by its report; empty: nothing.
QString linkTrouble(const QCborValue &report);
/// How long ago something was, in about five characters; -1: never.
QString age(qint64 ms);

} // namespace ValueWords
