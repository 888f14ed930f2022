// SPDX-License-Identifier: MIT
#pragma once

#include <QStringList>
#include <QVector>

/// The vehicle's track from above, in characters: north is up, one cell is twice as high as wide.
///
///     +   the origin          .   where the vehicle was          #   where it is
///
/// Keeps a bounded number of points: when there are too many, every second one is forgotten.
class TrackPicture
{
public:
    /// Metres from the origin; NaN is passed over.
    void add(double northM, double eastM);
    bool isEmpty() const { return points.isEmpty(); }

    /// As many lines as rows, each as long as columns; the last one tells how wide the picture is in metres.
    QStringList draw(int rows, int columns) const;

private:
    struct Point
    {
        double north;
        double east;
    };

    QVector<Point> points;
};
