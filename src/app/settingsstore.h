// SPDX-License-Identifier: MIT
#pragma once

#include <QSettings>

/// Settings whose file is old or new as a whole, also on a disk that is nearly full.
///
/// QSettings replaces its file by a new one, but does not look whether the last 16 KiB of that have been
/// written: where there is room for a part, the file is cut short, or empty. So it is shown a full disk then,
/// which it reports as AccessError and leaves the file alone.
///
/// Main thread.
class SettingsStore : public QSettings
{
    Q_OBJECT

public:
    using QSettings::QSettings;
    /// Writes what has changed, if it has; what cannot be written is tried again with the next change.
    ~SettingsStore() override;

    /// Writes what has changed and reads what others have. To be called instead of sync(), which is not
    /// virtual.
    void store();

protected:
    bool event(QEvent *event) override;

private:
    qint64 largestFile() const;
};
