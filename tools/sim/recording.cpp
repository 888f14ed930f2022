// SPDX-License-Identifier: MIT
#include "sim/recording.h"

#include "sim/rawrecording.h"
#include "sim/tlogrecording.h"

#include <QFileInfo>

bool Recording::hasFrames(const QString &path)
{
    return path.endsWith(QLatin1String(".tlog"), Qt::CaseInsensitive);
}

std::unique_ptr<Recording> Recording::open(const QString &path, qint32 baud, QString *error)
{
    std::unique_ptr<Recording> recording;
    if (hasFrames(path))
        recording = std::make_unique<TlogRecording>(path);
    else
        recording = std::make_unique<RawRecording>(path, baud);
    if (recording->openFile(error) && recording->load(error))
        return recording;
    *error = path + QLatin1String(": ") + *error;
    return nullptr;
}

bool Recording::openFile(QString *error)
{
    const QFileInfo info(file);
    if (info.exists() && !info.isFile()) {
        // Opening a named pipe would wait for its writer.
        *error = QStringLiteral("not a regular file");
        return false;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return false;
    }
    if (file.size() > 0)
        return true;
    *error = QStringLiteral("the recording is empty");
    return false;
}

QByteArray Recording::read(const Piece &piece)
{
    if (file.pos() != piece.offset && !file.seek(piece.offset))
        return {};
    return file.read(piece.size);
}
