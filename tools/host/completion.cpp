// SPDX-License-Identifier: MIT
#include "host/completion.h"

#include "host/scriptparser.h"
#include "host/settingskey.h"

#include <QCborMap>

#include <utility>

Completion::Completion(KnownSignals signalsToWaitFor)
    : knownSignals(std::move(signalsToWaitFor))
    , settings(knownSettings())
{}

QStringList Completion::candidates(const QString &line) const
{
    QStringList before = line.split(QLatin1Char(' '));
    const QString begun = before.takeLast();
    before.removeAll(QString());
    QStringList found;
    const QStringList all = words(before, begun);
    for (const QString &word : all)
        if (word.startsWith(begun) && !found.contains(word))
            found.append(word);
    found.sort();
    return found;
}

QStringList Completion::words(const QStringList &before, const QString &begun) const
{
    if (before.isEmpty())
        return ScriptParser::commandNames();
    if (before.first() == QLatin1String("wait-for") && before.size() == 1)
        return signalsAndFields(begun);
    if (before.first() != QLatin1String("set") || before.size() > 2)
        return {};
    QStringList found;
    for (const QString &setting : settings) {
        const QString group = setting.section(QLatin1Char(' '), 0, 0);
        if (before.size() == 1)
            found.append(group);
        else if (group == before.at(1))
            found.append(setting.section(QLatin1Char(' '), 1));
    }
    return found;
}

// Fields show once their signal stands there: there are too many to list them all.
QStringList Completion::signalsAndFields(const QString &begun) const
{
    QStringList found = knownSignals.keys();
    for (auto it = knownSignals.constBegin(); it != knownSignals.constEnd(); ++it) {
        const QString stem = it.key() + QLatin1Char('.');
        const QCborMap fields = it.value().toMap();
        if (!begun.startsWith(stem))
            continue;
        for (const auto &field : fields)
            found.append(stem + field.first.toString());
    }
    return found;
}
