// SPDX-License-Identifier: MIT
#include "host/trackpicture.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int MostPoints = 2000;
constexpr double LeastStepM = 0.2; // a vehicle that hovers leaves no track
constexpr double LeastWidthM = 10; // of the picture
constexpr double CellHeight = 2;   // in widths of a cell
constexpr double Margin = 1.1;

struct Range
{
    double low = 0; // the origin is always in the picture
    double high = 0;

    void take(double value)
    {
        low = std::min(low, value);
        high = std::max(high, value);
    }
    double middle() const { return (low + high) / 2; }
    double size() const { return high - low; }
};

} // namespace

void TrackPicture::add(double northM, double eastM)
{
    if (!std::isfinite(northM) || !std::isfinite(eastM))
        return;
    if (points.size() > 1) {
        const Point &previous = points.at(points.size() - 2);
        if (std::hypot(northM - previous.north, eastM - previous.east) < LeastStepM)
            points.removeLast();
    }
    points.append({northM, eastM});
    if (points.size() <= MostPoints)
        return;
    QVector<Point> kept;
    for (int i = points.size() % 2 == 0 ? 1 : 0; i < points.size(); i += 2)
        kept.append(points.at(i));
    points = kept;
}

QStringList TrackPicture::draw(int rows, int columns) const
{
    Range north;
    Range east;
    for (const Point &point : points) {
        north.take(point.north);
        east.take(point.east);
    }
    const int height = rows - 1;
    const double widthM =
        std::max({LeastWidthM, east.size() * Margin, north.size() * Margin * columns / height / CellHeight});
    const double cellM = widthM / columns;
    QStringList lines;
    for (int i = 0; i < height; ++i)
        lines.append(QString(columns, QLatin1Char(' ')));
    const auto put = [&](double northM, double eastM, char mark) {
        const int row = static_cast<int>(
            std::lround((height - 1) / 2.0 - (northM - north.middle()) / cellM / CellHeight));
        const int column =
            static_cast<int>(std::lround((columns - 1) / 2.0 + (eastM - east.middle()) / cellM));
        if (row >= 0 && row < height && column >= 0 && column < columns)
            lines[row][column] = QLatin1Char(mark);
    };
    for (const Point &point : points)
        put(point.north, point.east, '.');
    put(0, 0, '+');
    if (!points.isEmpty())
        put(points.last().north, points.last().east, '#');
    lines.append(
        QStringLiteral("%1 m wide, north up").arg(widthM, 0, 'f', 0).leftJustified(columns).left(columns));
    return lines;
}
