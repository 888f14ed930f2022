// SPDX-License-Identifier: MIT
#include "appfixture.h"
#include "support/logcapture.h"

#include <rapidcheck.h>

#include <map>
#include <string>
#include <vector>

namespace {

struct Setting
{
    const char *group;
    const char *name;
};

constexpr Setting Known[] = {
    {"APP", "VERBOSE"}, {"MAV", "SERIAL_DEVICE"}, {"MAV", "BAUD_RATE"}, {"MAV", "SYSTEM_ID"}};
enum class Call { Update, UpdateUnknown, Read, SetDefault };

QString anyText()
{
    return QString::fromStdString(*rc::gen::arbitrary<std::string>());
}

/// What the file is to hold.
class Model
{
public:
    explicit Model(App &running)
        : app(running)
    {
        values["APP/VERBOSE"] = QStringLiteral("false");
    }

    void anyCall()
    {
        const Setting setting = Known[*rc::gen::inRange(0, int(std::size(Known)))];
        const std::string key = std::string(setting.group) + '/' + setting.name;
        const QString text = anyText();
        switch (*rc::gen::element(Call::Update, Call::UpdateUnknown, Call::Read, Call::SetDefault)) {
        case Call::Update:
            app.updateSetting(setting.group, setting.name, text);
            values[key] = text;
            break;
        case Call::UpdateUnknown:
            app.updateSetting(setting.group, "NO_SUCH_SETTING", text);
            break;
        case Call::Read:
            RC_ASSERT(app.settingValue(setting.group, setting.name, text).toString() ==
                      values.emplace(key, text).first->second);
            break;
        case Call::SetDefault:
            app.setSettingDefault(setting.group, setting.name, text);
            values.emplace(key, text);
            break;
        }
    }

    void compare(const QVariantMap &stored) const
    {
        RC_ASSERT(static_cast<size_t>(stored.size()) == values.size());
        for (const auto &[key, value] : values)
            RC_ASSERT(stored.value(QString::fromStdString(key)).toString() == value);
    }

private:
    App &app;
    std::map<std::string, QString> values;
};

} // namespace

class TestSettingsProperties : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anyCalls_leaveTheFileThatAMapSays();
    void anyText_isSignalledAsItIs();
};

void TestSettingsProperties::anyCalls_leaveTheFileThatAMapSays()
{
    LogCapture log;
    SettingsFixture<> f;
    int run = 0;
    QVERIFY(rc::check("settings calls leave the file that a map says", [&f, &run] {
        f.path = f.filePath(QStringLiteral("run%1.ini").arg(++run));
        f.load();
        Model model(f.app);
        const auto calls = *rc::gen::inRange(0, 15);
        for (int i = 0; i < calls; ++i)
            model.anyCall();
        model.compare(f.stored());
    }));
    log.take();
}

void TestSettingsProperties::anyText_isSignalledAsItIs()
{
    LogCapture log;
    SettingsFixture<> f;
    f.load();
    QSignalSpy changed(&f.app, &App::MAV_SERIAL_DEVICE);
    QVERIFY(rc::check("a changed text is signalled once and reads back", [&f, &changed] {
        const QString text = anyText();
        changed.clear();
        f.app.updateSetting("MAV", "SERIAL_DEVICE", text);
        RC_ASSERT(emissions(changed) == (QList<QVariantList>{{text}}));
        RC_ASSERT(f.stored().value(QStringLiteral("MAV/SERIAL_DEVICE")).toString() == text);
    }));
    log.take();
}

APPLESS_TEST_MAIN(TestSettingsProperties)
#include "tst_settingsproperties.moc"
