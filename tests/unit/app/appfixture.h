// SPDX-License-Identifier: MIT
#pragma once

#include "support/testmain.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>

/// An application object for one test: the tests of this folder look at what an application starts with, so
/// each makes its own.
template <class Application = App>
class ApplicationFixture
{
    int argc = 1;
    char name[5] = "test";
    char *argv[2] = {name, nullptr};

public:
    Application app{argc, argv};
};

/// The same with a settings file in a folder of its own.
template <class Application = App>
class SettingsFixture : public ApplicationFixture<Application>
{
    QTemporaryDir dir;

public:
    QString path = dir.filePath(QStringLiteral("host.ini"));

    void load() { this->app.loadSettings(path); }

    /// Loads a file with this text.
    void load(const QByteArray &text)
    {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        load();
    }

    /// The file as it is on disk.
    QByteArray text() const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /// Writes what is outstanding and reads the file back by way of a copy, past everything that is held in
    /// memory.
    QVariantMap stored()
    {
        this->app.syncSettings();
        const QString copy = dir.filePath(QStringLiteral("copy%1.ini").arg(++copies));
        QFile::copy(path, copy);
        const QSettings settings(copy, QSettings::IniFormat);
        QVariantMap values;
        const QStringList keys = settings.allKeys();
        for (const QString &key : keys)
            if (!key.isEmpty()) // a line without a name, above the first section
                values.insert(key, settings.value(key));
        return values;
    }

    QString filePath(const QString &fileName) const { return dir.filePath(fileName); }

private:
    int copies = 0;
};

/// What a spy has seen, as the list that QCOMPARE can print and compare.
inline QList<QVariantList> emissions(const QSignalSpy &spy)
{
    const QList<QVariantList> &all = spy;
    return all;
}

/// main() of a test program whose tests make their own application objects.
#define APPLESS_TEST_MAIN(TestClass)                                                                         \
    int main(int argc, char *argv[])                                                                         \
    {                                                                                                        \
        prepareTestEnvironment();                                                                            \
        TestClass test;                                                                                      \
        return QTest::qExec(&test, argc, argv);                                                              \
    }
