// SPDX-License-Identifier: MIT
#pragma once

#include <QFile>
#include <QString>

#include <initializer_list>
#include <memory>
#include <vector>

/// Makes a nearly full file system a full one for as long as this lives: if it has no room for new files of
/// these sizes, what room there is gets taken.
///
/// For writers who notice that they could write nothing, but not that they could write only a part. Others
/// may take or give back space meanwhile; nothing is held against that.
///
/// What is taken has no name and is given back however the process ends. No file is made longer than this
/// process may make one (RLIMIT_FSIZE): the kernel's signal for that ends processes.
class ScarceSpace
{
public:
    /// @param folder where the files are to go. If nothing can be made there, nothing is taken.
    /// @param fileSizes in bytes; each file is rounded up to whole blocks for itself.
    ScarceSpace(const QString &folder, std::initializer_list<qint64> fileSizes);

private:
    bool openBallast(const QByteArray &folder);

    std::vector<std::unique_ptr<QFile>> ballast;
};
