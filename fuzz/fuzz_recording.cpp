// SPDX-License-Identifier: MIT
// Any file as a recording: what is accepted has an index that can be played.
//
// The first byte of an input says which kind of file it is, the others are the file.
#include "sim/recording.h"
#include "support/fuzzapp.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

#include <QFile>

namespace {

constexpr qint32 Bauds[] = {1, 300, 57600, 2000000000};

void checkPieces(Recording &recording, const QByteArray &content)
{
    fuzzCheck(recording.pieceCount() >= 1, "something to play");
    std::chrono::microseconds due{0};
    for (qint64 i = 0; i < recording.pieceCount(); ++i) {
        const Recording::Piece piece = recording.piece(i);
        fuzzCheck(piece.due >= due, "times that never step back");
        fuzzCheck(piece.size > 0 && piece.offset >= 0 && piece.offset + piece.size <= content.size(),
                  "a piece of the file");
        fuzzCheck(recording.read(piece) == content.mid(static_cast<int>(piece.offset), piece.size),
                  "the bytes of the file");
        due = piece.due;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    fuzzApp();
    InputBytes input(data, size);
    const quint8 kind = input.byte();
    const QByteArray content = input.rest();
    const QString path = scratchFile((kind & 1) != 0 ? QStringLiteral(".tlog") : QStringLiteral(".raw"));
    {
        QFile file(path);
        fuzzCheck(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(), "a file to play");
    }
    QString error;
    const auto recording = Recording::open(path, Bauds[(kind >> 1) % std::size(Bauds)], &error);
    fuzzCheck(recording != nullptr || !error.isEmpty(), "an error says why");
    if (recording)
        checkPieces(*recording, content);
    QFile::remove(path);
    return 0;
}
