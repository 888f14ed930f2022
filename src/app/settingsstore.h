// SPDX-License-Identifier: MIT
#pragma once

#include "app/export.h"

#include <QDateTime>
#include <QPair>
#include <QSettings>

/// Settings whose file is old or new as a whole, also on a disk that is nearly full.
///
/// QSettings replaces its file by a new one, but does not look whether the last 16 KiB of that have been
/// written: where there is room for a part, the file is cut short, or empty. So it is shown a full disk then,
/// which it reports as AccessError and leaves the file alone. Of a small file it is the lock beside it that
/// cannot be written then, so both have to lie on the same disk.
///
/// Main thread.
class NOFLAILSTEN_EXPORT SettingsStore : public QSettings
{
    Q_OBJECT

public:
    /// The platform's native store of the application.
    explicit SettingsStore(QObject *parent = nullptr);
    /// An INI file, or the one that a link leads to at that time: fileName() is its name, not the link's.
    explicit SettingsStore(const QString &path, QObject *parent = nullptr);
    /// Writes what has changed, if it has.
    ~SettingsStore() override;

    /// Writes what has changed and reads what others have; what cannot be written is tried again with the
    /// next call or change. With nothing to write the disk is left alone. To be called instead of sync(),
    /// which is not virtual.
    void store();

    /// What a link leads to, over further ones, whether it exists or not; any other path as it is.
    static QString fileBehind(const QString &path);

    /// At least as many bytes as the file will have when it is written next: often a few times as many. Takes
    /// it that no group is open, and that no codec has been set but UTF-8.
    qint64 largestFile() const;

protected:
    bool event(QEvent *event) override;

private:
    using FileVersion = QPair<qint64, QDateTime>;
    static FileVersion versionOf(const QString &path);

    void write();
    bool isLeftUnwritten() const;

    bool changed = false;
    FileVersion known = versionOf(fileName());
};
