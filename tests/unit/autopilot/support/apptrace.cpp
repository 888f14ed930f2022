// SPDX-License-Identifier: MIT
#include "autopilot/support/apptrace.h"

#include "app/app.h"

#include <QDebug>

AppTrace::AppTrace()
{
    const auto *app = runningApp();
    if (!app)
        return;
    const auto line = [](const char *name) { return qInfo().noquote() << name; };
    connect(app, &App::autopilotStatus, this, [=](quint8 value) { line("autopilotStatus") << value; });
    connect(app, &App::daqEnabled, this, [=](bool value) { line("daqEnabled") << value; });
    connect(app, &App::timeIsSet, this, [=](bool value) { line("timeIsSet") << value; });
    connect(app, &App::roll, this, [=](float value) { line("roll") << value; });
    connect(app, &App::pitch, this, [=](float value) { line("pitch") << value; });
    connect(app, &App::yaw, this, [=](float value) { line("yaw") << value; });
    connect(app, &App::velocity, this, [=](double value) { line("velocity") << value; });
    connect(app, &App::gpsCoordinate, this, [=](const GeoCoordinates &) { line("gpsCoordinate"); });
    connect(app, &App::altitude, this,
            [=](const ScalarSensorData &data) { line("altitude") << data.value << data.status; });
    connect(app, &App::vehicleLocalPos, this, [=](const Value3d &) { line("vehicleLocalPos"); });
    connect(app, &App::rawAltimeterValue, this,
            [=](const ScalarSensorData &data) { line("rawAltimeterValue") << data.value << data.status; });
    connect(app, &App::textToGround, this,
            [=](const TextToGround &text) { line("textToGround") << int(text.type) << text.text; });
}
