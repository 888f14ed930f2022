// SPDX-License-Identifier: MIT
#pragma once

#include <QtGlobal>

/// Counts what one sender's frames lost on their way, by their sequence numbers: pure arithmetic.
///
/// Numbers run from 0 to 255 and begin at 0 again, so 255 and then 2 is a loss of two. Of what was lost
/// beyond a whole round nothing can be seen: 256 frames lost in a row are none, 260 are four. Frames lost
/// after the last one that came are not known of either.
///
/// A frame up to Window numbers behind the newest comes late, which takes a loss back, or came before: a
/// duplicate. A real loss of 256 - Window to 254 frames in a row is therefore taken for late ones and
/// duplicates, unless the caller knows better.
class SequenceLoss
{
public:
    static constexpr int Window = 32;

    /// A frame has come. @param canBeLate false if so much time has passed that nothing is late any more; the
    /// number of the newest frame is a duplicate even so.
    void take(quint8 number, bool canBeLate = true);
    /// The next number is a first one, whatever it is.
    void beginAnew();

    /// How far a number is off the one that would come next without any trouble: from -127, that much
    /// earlier, to 128. 0 for a first one.
    int offset(quint8 number) const;

    /// Frames that came, each once.
    qint64 received() const { return receivedCount; }
    /// Frames that did not come, between those that did. Falls when one comes late.
    qint64 lost() const { return lostCount; }
    qint64 duplicates() const { return duplicateCount; }
    /// Frames that came after later ones.
    qint64 late() const { return lateCount; }

private:
    void takeFirst(quint8 number);
    void takeAhead(quint8 number, int steps);
    void takeBehind(int steps);

    bool begun = false;
    quint8 newest = 0;
    quint64 seen = 0; // bit n: the number n before the newest came
    int reach = 0;    // so many numbers before the newest are counted, as received or lost; Window at most
    qint64 receivedCount = 0;
    qint64 lostCount = 0;
    qint64 duplicateCount = 0;
    qint64 lateCount = 0;
};
