// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"
#include "app/telemetrydata.h"
#include "app/texttoground.h"
#include "navigation/navigate.h"

#include <QCoreApplication>
#include <QHash>
#include <QSettings>
#include <QString>
#include <QVariant>

class SettingsStore;

namespace C {

/// Names of the debug options; each starts switched off.
inline constexpr const char *AvailabeDebugOptions[] = {"desktop", "gps", "yaw", "recording"};
/// Settings groups that belong to other modules: removeObsoleteSettings() leaves them alone, in any letter
/// case.
inline constexpr const char *ReservedSettingsGroups[] = {"AUTOPILOTS", "PAYLOADS", "OUTPUTS"};

} // namespace C

/// The application object of the host: settings store, telemetry signals, texts to the ground. One per
/// process.
///
/// Settings. A setting is addressed by group and name. In the INI file the group is a section and the name a
/// key
/// ("MAV/SYSTEM_ID"); the schema is the signal of the same name with an underscore (MAV_SYSTEM_ID), whose
/// argument has the type of the setting, and which updateSetting() emits. There is no other list of settings.
/// Defaults are the readers': the first read with a default writes it into the file.
///
/// Telemetry. Producers invoke the telemetry signals by name on the application object. Their argument types
/// are registered meta-types, so that receivers may live on other threads.
///
/// Everything is called on the main thread.
class NOFLAILSTEN_EXPORT App : public QCoreApplication
{
    Q_OBJECT

public:
    App(int &argc, char **argv);

    /// Opens an INI file; a file opened before is closed. A file that cannot be read or written is not an
    /// error here: settings()->status() tells.
    void loadSettings(const QString &path);
    /// The open settings. Before loadSettings() the platform's native store is opened instead, with a
    /// critical line.
    QSettings *settings();
    /// Writes outstanding changes to disk.
    void syncSettings();

    /// Group, separator, name: separator "/" gives the key in the file, "_" the name of the change signal.
    static QString settingNameToKey(const char *group, const char *name, const char *separator);
    /// Stores the value if the key is absent.
    void setSettingDefault(const char *group, const char *name, const QVariant &value);
    /// Reads a setting, after storing the default if the key is absent. An invalid default is stored too, in
    /// the store's form of an invalid value, and reads as 0, false or an empty string from then on.
    QVariant settingValue(const char *group, const char *name, const QVariant &defaultValue);
    /// Changes a setting, emits its change signal and writes it to disk. A setting that no signal declares is
    /// refused with a warning. Values that do not convert become 0, false or empty; settings of type double
    /// are stored without a signal.
    void updateSetting(const char *group, const char *name, const QVariant &value);
    /// Removes keys that no signal declares, except those of C::ReservedSettingsGroups.
    void removeObsoleteSettings();

    /// Emits textToGround() on the application object.
    void sendMessage(const QString &text, TextToGround::MessageTypes type);
    /// The same with the tag in square brackets and a blank in front; an empty tag adds nothing.
    void sendMessage(const QString &text, const QString &tag, TextToGround::MessageTypes type);

    /// The current value of APP_VERBOSE.
    bool isVerbose() const { return verbose; }
    /// The debug options by name.
    const QHash<QString, bool> &availableDebugOptions() const { return debugOptions; }

Q_SIGNALS:
    // One change signal per setting; updateSetting() knows the types bool, float, quint32, quint16, quint8,
    // int and QString.
    void ALTIMETER_DEBUG_LOG(bool value);
    void ALTIMETER_EF_FILTER_GATE(float value);
    void ALTIMETER_EF_FILTER_PROC_NOISE(float value);
    void ALTIMETER_EF_FILTER_RNG_NOISE(float value);
    void ALTIMETER_EF_FILTER_TERR_GRAD(float value);
    void ALTIMETER_FILTER_TYPE(const QString &value);
    void ALTIMETER_IGNORE_ERRORS(int value);
    void ALTIMETER_LP_FILTER_LENGTH(int value);
    void ALTIMETER_MAX_ALTITUDE_M(float value);
    void ALTIMETER_MIN_ALTITUDE_M(float value);
    void ALTIMETER_SIMULATOR_DELTA_M(float value);
    void ALTIMETER_SIMULATOR_MAX_RANGE_M(float value);
    void ALTIMETER_SIMULATOR_MIN_RANGE_M(float value);
    void ALTIMETER_SIMULATOR_PERIOD_MS(int value);
    void ALTIMETER_ZERO_LEVEL_M(float value);
    void ANEMOMETER_MAX_WIND_SPEED_MPS(float value);
    void ANEMOMETER_MIN_WIND_SPEED_MPS(float value);
    void APP_DISABLE_WIFI_IN_AIR(bool value);
    void APP_LOG_SPLIT_SIZE_MB(quint32 value);
    void APP_LOG_SPLIT_TIME_S(quint32 value);
    void APP_LOG_SPLIT_TRACES(quint32 value);
    void APP_LOG_SPLIT_WAYPOINTS(quint32 value);
    void APP_MIN_FREE_SPACE_MB(int value);
    void APP_PAYLOAD_START_DELAY_S(int value);
    void APP_POSITION_LOG_PERIOD_MS(int value);
    void APP_STATUS_PERIOD_MS(int value);
    void APP_TELEMETRY_PERIOD_MS(int value);
    void APP_VERBOSE(bool value);
    void ATTOLLO_WASP_AVERAGING(int value);
    void ATTOLLO_WASP_BAUD_RATE(int value);
    void ATTOLLO_WASP_FREQUENCY_HZ(int value);
    void ATTOLLO_WASP_SERIAL_DEVICE(const QString &value);
    void CONDUCTIVITY_METER_MAX_OUTPUT_VALUE_MS_M(float value);
    void CONDUCTIVITY_METER_MIN_OUTPUT_VALUE_MS_M(float value);
    void DJI_APP_ID(quint32 value);
    void DJI_APP_KEY(const QString &value);
    void DJI_BAUD_RATE(int value);
    void DJI_RESPONSE_TIMEOUT_S(int value);
    void DJI_SENDING_PERIOD_MS(int value);
    void DJI_SERIAL_DEVICE(const QString &value);
    void DROP_MESSENGER_SERVO_LOCK_PULSE_MS(float value);
    void DROP_MESSENGER_SERVO_PERIOD_MS(float value);
    void DROP_MESSENGER_SERVO_UNLOCK_PULSE_MS(float value);
    void ECHOLOGGER_DUAL_ALT_THRESHOLD_HIGH_PCT(int value);
    void ECHOLOGGER_DUAL_ALT_THRESHOLD_LOW_PCT(int value);
    void ECHOLOGGER_DUAL_BAUD_RATE(int value);
    void ECHOLOGGER_DUAL_DEADZONE_HIGH_MM(int value);
    void ECHOLOGGER_DUAL_DEADZONE_LOW_MM(int value);
    void ECHOLOGGER_DUAL_FREQUENCY_HZ(float value);
    void ECHOLOGGER_DUAL_GAIN_HIGH_DB(int value);
    void ECHOLOGGER_DUAL_GAIN_LOW_DB(int value);
    void ECHOLOGGER_DUAL_MAX_SENSOR_ANGLE_DEG(float value);
    void ECHOLOGGER_DUAL_MIN_SENSOR_DEPTH_M(float value);
    void ECHOLOGGER_DUAL_MODE(const QString &value);
    void ECHOLOGGER_DUAL_RANGE_HIGH_M(float value);
    void ECHOLOGGER_DUAL_RANGE_LOW_M(float value);
    void ECHOLOGGER_DUAL_RAW_LOG(bool value);
    void ECHOLOGGER_DUAL_SAMPLING_RATE_HZ(int value);
    void ECHOLOGGER_DUAL_SERIAL_DEVICE(const QString &value);
    void ECHOLOGGER_DUAL_START_DELAY_S(int value);
    void ECHOLOGGER_DUAL_TXLENGTH_HIGH_US(int value);
    void ECHOLOGGER_DUAL_TXLENGTH_LOW_US(int value);
    void ECHOLOGGER_ECT_ALT_THRESHOLD_PCT(int value);
    void ECHOLOGGER_ECT_BAUD_RATE(int value);
    void ECHOLOGGER_ECT_DEADZONE_MM(int value);
    void ECHOLOGGER_ECT_FREQUENCY_HZ(float value);
    void ECHOLOGGER_ECT_GAIN_DB(int value);
    void ECHOLOGGER_ECT_MAX_SENSOR_ANGLE_DEG(float value);
    void ECHOLOGGER_ECT_MIN_SENSOR_DEPTH_M(float value);
    void ECHOLOGGER_ECT_MODE(const QString &value);
    void ECHOLOGGER_ECT_RANGE_M(float value);
    void ECHOLOGGER_ECT_RAW_LOG(bool value);
    void ECHOLOGGER_ECT_SERIAL_DEVICE(const QString &value);
    void ECHOLOGGER_ECT_START_DELAY_S(int value);
    void ECHOLOGGER_ECT_TXLENGTH_US(int value);
    void ECHOLOGGER_SIMULATOR_CONST_MODE(bool value);
    void ECHOLOGGER_SIMULATOR_DELTA_M(float value);
    void ECHOLOGGER_SIMULATOR_FREQUENCY_MODE(const QString &value);
    void ECHOLOGGER_SIMULATOR_SERIAL_DEVICE(const QString &value);
    void ECHOLOGGER_SIMULATOR_SIN_MODE(bool value);
    void ECHOSOUNDER_CABLE_LENGTH_M(float value);
    void ECHOSOUNDER_MAX_DEPTH_M(float value);
    void ECHOSOUNDER_MIN_DEPTH_M(float value);
    void FTTECHNOLOGIES_FT742_SM_BAUD_RATE(int value);
    void FTTECHNOLOGIES_FT742_SM_RAW_LOG(bool value);
    void FTTECHNOLOGIES_FT742_SM_SERIAL_DEVICE(const QString &value);
    void FTTECHNOLOGIES_FT742_SM_SIMULATOR_SERIAL_DEVICE(const QString &value);
    void FTTECHNOLOGIES_FT742_SM_START_DELAY_S(int value);
    void GAS_DETECTOR_MAX_CONCENTRATION_PPM(float value);
    void GAS_DETECTOR_MIN_CONCENTRATION_PPM(float value);
    void GAS_DETECTOR_ZERO_LEVEL_PPM(float value);
    void GEONICS_EM38_SIMULATOR_FREQUENCY_HZ(float value);
    void GEONICS_EM38_SIMULATOR_SERIAL_DEVICE(const QString &value);
    void GEONICS_EM_38_MK2_BAUD_RATE(int value);
    void GEONICS_EM_38_MK2_BLUETOOTH_NAME(const QString &value);
    void GEONICS_EM_38_MK2_CHANNEL_NUMBER(int value);
    void GEONICS_EM_38_MK2_CONNECTION_TYPE(const QString &value);
    void GEONICS_EM_38_MK2_RAW_LOG(bool value);
    void GEONICS_EM_38_MK2_SERIAL_DEVICE(const QString &value);
    void GEONICS_EM_38_MK2_START_DELAY_S(int value);
    void GEONICS_EM_61_BAUD_RATE(int value);
    void GEONICS_EM_61_BLUETOOTH_NAME(const QString &value);
    void GEONICS_EM_61_CONNECTION_TYPE(const QString &value);
    void GEONICS_EM_61_RAW_LOG(bool value);
    void GEONICS_EM_61_SERIAL_DEVICE(const QString &value);
    void GEONICS_EM_61_START_DELAY_S(int value);
    void GEONICS_SIMULATOR_FREQUENCY_HZ(float value);
    void GEONICS_SIMULATOR_MODE(const QString &value);
    void GEONICS_SIMULATOR_SERIAL_DEVICE(const QString &value);
    void GH_ALTITUDE_SOURCE(const QString &value);
    void GH_DESCENT_ALTITUDE_M(float value);
    void GH_DESCENT_SPEED_MPS(float value);
    void GH_FAIL_SAFE_ALTITUDE_M(float value);
    void GH_TARGET_ALTITUDE_M(float value);
    void GPR_SIMULATOR_MSBYTE_FIRST(bool value);
    void GPR_SIMULATOR_PERIOD_MS(int value);
    void GPR_SIMULATOR_SAMPLE_BIT_DEPTH(quint8 value);
    void GPR_SIMULATOR_SAMPLE_COUNT(int value);
    void GPR_SIMULATOR_TELEMETRY_PERIOD_MS(int value);
    void GPR_SIMULATOR_WAVE_COUNT(int value);
    void LIGHTWARE_SF_CONNECTION_TYPE(const QString &value);
    void LIGHTWARE_SF_I2C_DEVICE_ADDRESS(const QString &value);
    void LIGHTWARE_SF_UART_BAUD_RATE(int value);
    void LIGHTWARE_SF_UART_SERIAL_DEVICE(const QString &value);
    void LIGHTWARE_SIMULATOR_DELTA_M(float value);
    void LIGHTWARE_SIMULATOR_MAX_RANGE_M(float value);
    void LIGHTWARE_SIMULATOR_MIN_RANGE_M(float value);
    void LIGHTWARE_SIMULATOR_PERIOD_MS(int value);
    void LIGHTWARE_SIMULATOR_SERIAL_DEVICE(const QString &value);
    void MAV_BAUD_RATE(int value);
    void MAV_COMPONENT_ID(quint16 value);
    void MAV_CONNECTION_TYPE(const QString &value);
    void MAV_SENDING_PERIOD_MS(int value);
    void MAV_SERIAL_DEVICE(const QString &value);
    void MAV_SYSTEM_ID(quint16 value);
    void MAV_TELEMETRY_RATE(int value);
    void MAV_V2_EXTENSION(bool value);
    void METAL_DETECTOR_MAX_OUTPUT_VALUE_MV(float value);
    void METAL_DETECTOR_MIN_OUTPUT_VALUE_MV(float value);
    void NANORADAR_MR_BAUD_RATE(int value);
    void NANORADAR_MR_IGNORE_SIDE_SECTORS(bool value);
    void NANORADAR_MR_SERIAL_DEVICE(const QString &value);
    void NANORADAR_NRA_AVERAGING(int value);
    void NANORADAR_NRA_BAUD_RATE(int value);
    void NANORADAR_NRA_SERIAL_DEVICE(const QString &value);
    void NAV_ACCEPTANCE_RADIUS_M(float value);
    void NAV_DEBUG_LOG(bool value);
    void NAV_HORIZONTAL_ACCEL_MSS(float value);
    void NAV_MAX_CLIMB_SPEED_MS(float value);
    void NAV_MAX_DESCENT_SPEED_MS(float value);
    void NAV_MAX_JERK(float value);
    void NAV_POS_P(float value);
    void NAV_POS_Z_P(float value);
    void NAV_VELOCITY_FEED_FORWARD(float value);
    void NAV_VEL_P(float value);
    void NAV_VEL_Z_P(float value);
    void NAV_VERTICAL_ACCEL_MSS(float value);
    void NAV_YAW_RATE_DS(float value);
    void OA_ACTION(const QString &value);
    void OA_ACTIVATED(bool value);
    void OA_ACTIVATION_ALTITUDE_M(float value);
    void OA_ACTIVATION_SPEED_MPS(float value);
    void OA_ALTITUDE_SOURCE(const QString &value);
    void OA_SAFETY_DISTANCE_LIMIT_M(float value);
    void OA_SAFETY_DISTANCE_SOURCE(const QString &value);
    void OBSTACLE_DETECTOR_SIMULATOR_DELTA_M(float value);
    void OBSTACLE_DETECTOR_SIMULATOR_MAX_RANGE_M(float value);
    void OBSTACLE_DETECTOR_SIMULATOR_MIN_RANGE_M(float value);
    void OBSTACLE_DETECTOR_SIMULATOR_PERIOD_MS(int value);
    void OUTPUT_GPS_ADDRESS(const QString &value);
    void OUTPUT_GPS_BAUD_RATE(float value);
    void OUTPUT_GPS_FREQUENCY_HZ(float value);
    void OUTPUT_GPS_START_DELAY_S(int value);
    void PERGAM_FALCON_FREQUENCY_HZ(float value);
    void PERGAM_FALCON_SERIAL_DEVICE(const QString &value);
    void PERGAM_LMM_FREQUENCY_HZ(float value);
    void PERGAM_LMM_SERIAL_DEVICE(const QString &value);
    void PERGAM_SIMULATOR_MODEL(const QString &value);
    void PERGAM_SIMULATOR_SERIAL_DEVICE(const QString &value);
    void RADARTEAM_COBRA_BLUETOOTH_NAME(const QString &value);
    void RADARTEAM_COBRA_MODEL(const QString &value);
    void RADARTEAM_COBRA_TELEMETRY_PERIOD_MS(int value);
    void RADARTEAM_COBRA_TIME_RANGE_NS(quint16 value);
    void RADSYS_ZOND_FILTER_1(const QString &value);
    void RADSYS_ZOND_FILTER_2(const QString &value);
    void RADSYS_ZOND_IP_ADDRESS(const QString &value);
    void RADSYS_ZOND_MODE(const QString &value);
    void RADSYS_ZOND_OFFSET_FORWARD_M_1(double value);
    void RADSYS_ZOND_OFFSET_FORWARD_M_2(double value);
    void RADSYS_ZOND_OFFSET_RIGHT_M_1(double value);
    void RADSYS_ZOND_OFFSET_RIGHT_M_2(double value);
    void RADSYS_ZOND_PORT(int value);
    void RADSYS_ZOND_PULSE_DELAY_1(quint16 value);
    void RADSYS_ZOND_PULSE_DELAY_2(quint16 value);
    void RADSYS_ZOND_RAW_LOG(bool value);
    void RADSYS_ZOND_SAMPLE_COUNT(int value);
    void RADSYS_ZOND_SOUNDING_MODE(const QString &value);
    void RADSYS_ZOND_TELEMETRY_PERIOD_MS(int value);
    void RADSYS_ZOND_TIME_RANGE_NS_1(quint16 value);
    void RADSYS_ZOND_TIME_RANGE_NS_2(quint16 value);
    void TF_ALTITUDE_SOURCE(const QString &value);
    void TF_FAIL_SAFE_ALTITUDE_M(float value);
    void TF_TARGET_ALTITUDE_M(float value);

    // Telemetry.
    void altitude(ScalarSensorData value);
    void altitudeAMSL(ScalarSensorData value);
    void rtkAltitude(ScalarSensorData value);
    void roll(float value);
    void pitch(float value);
    void yaw(float value);
    void isRtkPositionInfoGood(bool value);
    void timeIsSet(bool value);
    void gpsCoordinate(GeoCoordinates value);
    void rtkCoordinate(GeoCoordinates value);
    void velocity(double value);
    void hdop(float value);
    void nsv(quint16 value);
    void vehicleLocalPos(Value3d value);
    void vehicleLocalVel(Value3d value);
    void syncTimeMs(float value);
    void missionStatus(MissionStatus value);
    void algorithmStatus(AlgorithmStatus value);
    void isTerrainFollowingModeEnabled(bool value);
    void terrainFollowingSpeed(float value);
    void terrainFollowingAltitude(float value);
    void rawAltimeterValue(ScalarSensorData value);
    void altimeterValue(ScalarSensorData value);
    void filteredAltimeterValue(ScalarSensorData value);
    void obstacleDistance(ScalarSensorData value);
    void gprConnected(PayloadConnectedData value);
    void daqEnabled(bool value);
    void takeOff(bool value);
    void freeSpaceMB(quint64 value);
    void currentWaypointIndex(quint32 value);
    void autopilotStatus(quint8 value);
    void traceQuality(quint8 value);
    void textToGround(const TextToGround &value);
    void vehicleGpsPosition(Navigate::VehicleGpsPosition value);
    void vehicleLocalPosition(Navigate::VehicleLocalPosition value);
    void vehicleStatus(Navigate::VehicleStatus value);

protected:
    QHash<QString, bool> debugOptions;
    QHash<QString, void *> objects;

private:
    void fillSignalTypes();
    void onVerboseChanged(bool value) { verbose = value; }
    void emitChange(const QString &signal, const QString &type, const QVariant &value);
    void removeKey(const QString &key);

    SettingsStore *openSettings = nullptr;
    bool verbose = false;
    QHash<QString, QString> signalTypes;
};

/// The running application as an App; null if there is none or if it is something else, as in a program that
/// only looks at the plugin's metadata.
NOFLAILSTEN_EXPORT App *runningApp();

/// Reads a setting from the running App; the default where there is no App.
NOFLAILSTEN_EXPORT QVariant readSetting(const char *group, const char *name, const QVariant &defaultValue);
