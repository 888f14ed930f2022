// SPDX-License-Identifier: MIT
// Calls to the settings store, beside a map: what is in the file and what is signalled.
//
// An input is a row of calls: what to do, which setting, size of a text, the text.
#include "support/fuzzapp.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

#include <QFile>

#include <map>

namespace {

enum Call : quint8 { Update, UpdateUnknown, Read, SetDefault, Reopen, CallCount };

struct Setting
{
    const char *group;
    const char *name;
};

constexpr Setting Known[] = {{"APP", "VERBOSE"},
                             {"MAV", "SERIAL_DEVICE"},
                             {"MAV", "BAUD_RATE"},
                             {"MAV", "SYSTEM_ID"},
                             {"APP", "LOG_SPLIT_SIZE_MB"},
                             {"ALTIMETER", "MAX_ALTITUDE_M"},
                             {"GPR", "SIMULATOR_SAMPLE_BIT_DEPTH"}};

/// What was signalled last, for each type of argument.
struct Signalled
{
    int count = 0;
    QVariant value;
};

Signalled &signalled()
{
    static Signalled last;
    return last;
}

template <class Argument>
void listenTo(App &app, void (App::*signal)(Argument))
{
    QObject::connect(&app, signal, &app, [](Argument value) {
        ++signalled().count;
        signalled().value = QVariant::fromValue(value);
    });
}

App &listeningApp()
{
    static App &app = [&]() -> App & {
        App &made = fuzzApp();
        listenTo(made, &App::APP_VERBOSE);
        listenTo<const QString &>(made, &App::MAV_SERIAL_DEVICE);
        listenTo(made, &App::MAV_BAUD_RATE);
        listenTo(made, &App::MAV_SYSTEM_ID);
        listenTo(made, &App::APP_LOG_SPLIT_SIZE_MB);
        listenTo(made, &App::ALTIMETER_MAX_ALTITUDE_M);
        listenTo(made, &App::GPR_SIMULATOR_SAMPLE_BIT_DEPTH);
        return made;
    }();
    return app;
}

/// Numbers out of range are what QVariant makes of them, which is not what QString does.
QVariant converted(const Setting &setting, const QString &text)
{
    const QByteArray name = setting.name;
    const QVariant value(text);
    if (name == "VERBOSE")
        return text.toLower() == QStringLiteral("true") || text == QStringLiteral("1");
    if (name == "SERIAL_DEVICE")
        return text;
    if (name == "BAUD_RATE")
        return value.toInt();
    if (name == "SYSTEM_ID")
        return QVariant::fromValue(static_cast<quint16>(value.toUInt()));
    if (name == "LOG_SPLIT_SIZE_MB")
        return value.toUInt();
    if (name == "MAX_ALTITUDE_M")
        return value.toFloat();
    return QVariant::fromValue(static_cast<quint8>(value.toUInt()));
}

bool isSame(const QVariant &a, const QVariant &b)
{
    return a == b || (a.toFloat() != a.toFloat() && b.toFloat() != b.toFloat());
}

class Model
{
public:
    explicit Model(App &running)
        : app(running)
    {
        app.loadSettings(path);
        values[QStringLiteral("APP/VERBOSE")] = QStringLiteral("false");
    }
    ~Model() { QFile::remove(path); }
    Model(const Model &) = delete;
    Model &operator=(const Model &) = delete;

    void update(const Setting &setting, const QString &text)
    {
        const int before = signalled().count;
        app.updateSetting(setting.group, setting.name, text);
        fuzzCheck(signalled().count == before + 1, "one signal");
        fuzzCheck(isSame(signalled().value, converted(setting, text)), "the value as the signal's type");
        values[keyOf(setting)] = text;
    }
    void updateUnknown(const QString &text)
    {
        const QByteArray name = '_' + text.toLatin1();
        const int before = signalled().count;
        app.updateSetting("MAV", name.constData(), text);
        fuzzCheck(signalled().count == before, "no signal of a setting that is none");
    }
    void read(const Setting &setting, const QString &preset)
    {
        const QString value = app.settingValue(setting.group, setting.name, preset).toString();
        fuzzCheck(value == values.emplace(keyOf(setting), preset).first->second, "the value that was set");
    }
    void setDefault(const Setting &setting, const QString &preset)
    {
        app.setSettingDefault(setting.group, setting.name, preset);
        values.emplace(keyOf(setting), preset);
    }
    void reopen()
    {
        app.loadSettings(path);
        fuzzCheck(app.settings()->allKeys().size() == static_cast<int>(values.size()), "as many keys");
        for (const auto &[key, value] : values)
            fuzzCheck(app.settings()->value(key).toString() == value, "each with its value");
    }

private:
    static QString keyOf(const Setting &setting)
    {
        return App::settingNameToKey(setting.group, setting.name, "/");
    }

    App &app;
    const QString path = scratchFile(QStringLiteral(".ini"));
    std::map<QString, QString> values;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    Model model(listeningApp());
    InputBytes input(data, size);
    while (!input.atEnd()) {
        const auto call = static_cast<Call>(input.byte() % CallCount);
        const Setting &setting = Known[input.byte() % std::size(Known)];
        const QString text = QString::fromUtf8(input.bytes(input.byte()));
        if (call == Update)
            model.update(setting, text);
        else if (call == UpdateUnknown)
            model.updateUnknown(text);
        else if (call == Read)
            model.read(setting, text);
        else if (call == SetDefault)
            model.setDefault(setting, text);
        else
            model.reopen();
    }
    model.reopen();
    return 0;
}
