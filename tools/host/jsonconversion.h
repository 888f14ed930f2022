// SPDX-License-Identifier: MIT
#pragma once

#include "app/telemetrydata.h"
#include "app/texttoground.h"
#include "autopilot/iautopilotplugin.h"
#include "navigation/navigate.h"

#include <QCborMap>
#include <QCborValue>

// The values that signals carry, as JSON: records are objects with their field names, bytes lower-case hex,
// NaN and infinity null, single precision widened to double (so that it reads back exactly), times of
// readings milliseconds of the steady clock.

QCborValue toJson(double value);
QCborValue toJson(MessageId value);
QCborValue toJson(PayloadId value);
QCborValue toJson(const QByteArray &value);
QCborMap toJson(const ScalarSensorData &value);
QCborMap toJson(const GeoCoordinates &value);
QCborMap toJson(const Value3d &value);
QCborMap toJson(const MissionStatus &value);
QCborMap toJson(const AlgorithmStatus &value);
QCborMap toJson(const PayloadConnectedData &value);
QCborMap toJson(const TextToGround &value);
QCborMap toJson(const CompletePayload &value);
QCborMap toJson(const VehicleState &value);
QCborMap toJson(const Navigate::Attitude &value);
QCborMap toJson(const Navigate::VehicleLocalPosition &value);
QCborMap toJson(const Navigate::VehicleStatus &value);
QCborMap toJson(const Navigate::VehicleGpsPosition &value);

/// A value whose type is known by its meta-type id only; null if the type has no JSON form.
QCborValue toJson(int metaType, const void *value);
