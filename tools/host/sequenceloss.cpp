// SPDX-License-Identifier: MIT
#include "host/sequenceloss.h"

namespace {

constexpr int Round = 256; // numbers

} // namespace

void SequenceLoss::take(quint8 number, bool canBeLate)
{
    const int behind = static_cast<quint8>(newest - number);
    if (!begun)
        takeFirst(number);
    else if (behind == 0 || (canBeLate && behind <= Window))
        takeBehind(behind);
    else
        takeAhead(number, Round - behind);
}

void SequenceLoss::beginAnew()
{
    begun = false;
}

int SequenceLoss::offset(quint8 number) const
{
    if (!begun)
        return 0;
    const int ahead = static_cast<quint8>(number - newest - 1);
    return ahead <= Round / 2 ? ahead : ahead - Round;
}

void SequenceLoss::takeFirst(quint8 number)
{
    begun = true;
    newest = number;
    seen = 1;
    reach = 0;
    ++receivedCount;
}

void SequenceLoss::takeAhead(quint8 number, int steps)
{
    newest = number;
    seen = steps <= Window ? seen << steps | 1 : 1;
    reach = qMin(reach + steps, Window);
    lostCount += steps - 1;
    ++receivedCount;
}

// Also one from before the first that came: those between them are missing then.
void SequenceLoss::takeBehind(int steps)
{
    const quint64 bit = quint64(1) << steps;
    if (seen & bit) {
        ++duplicateCount;
        return;
    }
    seen |= bit;
    lostCount += steps > reach ? steps - reach - 1 : -1;
    reach = qMax(reach, steps);
    ++receivedCount;
    ++lateCount;
}
