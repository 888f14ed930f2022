// SPDX-License-Identifier: MIT
#include "host/resourcereport.h"

#include <QAbstractEventDispatcher>
#include <QSet>

#include <malloc.h>

namespace {

void addTree(QObject *root, QSet<QObject *> &objects)
{
    if (!root || objects.contains(root))
        return;
    objects.insert(root);
    for (QObject *child : root->children())
        addTree(child, objects);
}

qint64 heapInUse()
{
    const auto info = mallinfo2();
    return static_cast<qint64>(info.uordblks) + static_cast<qint64>(info.hblkhd);
}

} // namespace

ResourceReport::ResourceReport(const QVector<QObject *> &given)
{
    for (QObject *root : given)
        roots.append(root);
    connect(&due, &QTimer::timeout, this, &ResourceReport::count);
}

void ResourceReport::start(std::chrono::milliseconds period)
{
    due.start(period);
}

void ResourceReport::count()
{
    const auto *dispatcher = QAbstractEventDispatcher::instance();
    QSet<QObject *> objects;
    addTree(QAbstractEventDispatcher::instance(), objects);
    for (const QPointer<QObject> &root : qAsConst(roots))
        addTree(root, objects);
    int timers = 0;
    for (QObject *object : qAsConst(objects))
        timers += dispatcher->registeredTimers(object).size();
    Q_EMIT counted({{QStringLiteral("timers"), timers},
                    {QStringLiteral("objects"), objects.size()},
                    {QStringLiteral("heap_kb"), heapInUse() / 1024}});
}
