// SPDX-License-Identifier: MIT
#include "host/completion.h"

#include "host/scriptparser.h"
#include "host/settingskey.h"

#include <utility>

Completion::Completion(QStringList names)
    : signalNames(std::move(names))
    , settings(knownSettings())
{}

QStringList Completion::candidates(const QString &line) const
{
    QStringList before = line.split(QLatin1Char(' '));
    const QString begun = before.takeLast();
    before.removeAll(QString());
    QStringList found;
    const QStringList all = words(before);
    for (const QString &word : all)
        if (word.startsWith(begun) && !found.contains(word))
            found.append(word);
    found.sort();
    return found;
}

QStringList Completion::words(const QStringList &before) const
{
    if (before.isEmpty())
        return ScriptParser::commandNames();
    if (before.first() == QLatin1String("wait-for") && before.size() == 1)
        return signalNames;
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
