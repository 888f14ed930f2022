// SPDX-License-Identifier: MIT
// Runs a fuzzer over the files of the folders that are named, once each: what has been found stays found,
// also where the compiler brings no fuzzing engine.
#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cstdio>

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size);

namespace {

/// How many files were run; -1 if one cannot be read.
int runFolder(const QString &path)
{
    const QFileInfoList files = QDir(path).entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo &info : files) {
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly))
            return -1;
        // A copy of its own size, so that a read beyond the end is seen.
        const QByteArray content = file.readAll();
        std::printf("%s\n", qPrintable(info.filePath()));
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const quint8 *>(content.constData()),
                               static_cast<size_t>(content.size()));
    }
    return files.size();
}

} // namespace

int main(int argc, char *argv[])
{
    for (int i = 1; i < argc; ++i) {
        if (runFolder(QFile::decodeName(argv[i])) < 1) {
            std::fprintf(stderr, "no inputs in %s\n", argv[i]);
            return 1;
        }
    }
    return argc > 1 ? 0 : 1;
}
