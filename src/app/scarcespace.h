// SPDX-License-Identifier: MIT
#pragma once

#include <QString>
#include <QTemporaryFile>

/// Makes a nearly full file system a full one for as long as this lives: if it has no room for so many bytes,
/// what room there is gets taken.
///
/// For writers who notice that they could write nothing, but not that they could write only a part. Others
/// may take or give back space meanwhile; nothing is held against that.
class ScarceSpace
{
public:
    /// @param folder where the bytes are to go. If nothing can be made there, nothing is taken.
    ScarceSpace(const QString &folder, qint64 bytes);

private:
    void takeAll(qint64 bytes);

    QTemporaryFile ballast;
};
