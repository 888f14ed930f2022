// SPDX-License-Identifier: MIT
#include "host/condition.h"

#include <QCborMap>

#include <cmath>

namespace {

QString longestName(const QString &text, const KnownSignals &knownSignals)
{
    QString longest;
    const QStringList names = knownSignals.keys();
    for (const QString &name : names) {
        const bool ends =
            text.size() == name.size() ||
            (text.size() > name.size() && QStringLiteral(".=<>").contains(text.at(name.size())));
        if (ends && name.size() > longest.size() && text.startsWith(name))
            longest = name;
    }
    return longest;
}

Condition::Comparison comparisonOf(QChar sign)
{
    if (sign == QLatin1Char('<'))
        return Condition::Comparison::Less;
    return sign == QLatin1Char('>') ? Condition::Comparison::Greater : Condition::Comparison::Equal;
}

bool isNumber(const QString &text)
{
    bool ok = false;
    return std::isfinite(text.toDouble(&ok)) && ok;
}

// A value that came from single precision equals what it was written as, for example 0.1.
bool sameNumber(double seen, double wanted)
{
    if (seen == wanted)
        return true;
    const auto narrow = static_cast<float>(seen);
    return static_cast<double>(narrow) == seen && narrow == static_cast<float>(wanted);
}

bool compareNumber(double seen, Condition::Comparison comparison, const QString &value)
{
    bool ok = false;
    const double wanted = value.toDouble(&ok);
    if (!ok)
        return false;
    switch (comparison) {
    case Condition::Comparison::Less:
        return seen < wanted;
    case Condition::Comparison::Greater:
        return seen > wanted;
    default:
        return sameNumber(seen, wanted);
    }
}

bool equalBool(bool seen, const QString &value)
{
    const QLatin1String name(seen ? "true" : "false");
    return value == name || value == QString::number(seen ? 1 : 0);
}

bool equalOther(const QCborValue &seen, const QString &value)
{
    if (seen.isBool())
        return equalBool(seen.toBool(), value);
    if (seen.isString())
        return seen.toString() == value;
    return seen.isNull() && value == QLatin1String("null");
}

QString fieldNames(const QCborMap &record)
{
    QStringList names;
    for (const auto &field : record)
        names.append(field.first.toString());
    return names.join(QLatin1String(", "));
}

/// Steps into the value that a path of fields leads to. @return what is wrong with the path.
QString follow(const QStringList &path, QString name, QCborValue &value)
{
    for (const QString &field : path) {
        if (!value.isMap())
            return QStringLiteral("%1 has no fields").arg(name);
        if (!value.toMap().contains(field))
            return QStringLiteral("%1 has no field %2; there are %3")
                .arg(name, field, fieldNames(value.toMap()));
        value = value.toMap().value(field);
        name += QLatin1Char('.') + field;
    }
    return QString();
}

bool isBool(const QString &text)
{
    return equalBool(true, text) || equalBool(false, text);
}

/// Why a value of this form can never fulfil the condition; empty if it can.
QString mismatch(const Condition &condition, const QCborValue &form)
{
    const bool equal = condition.comparison == Condition::Comparison::Equal;
    const bool isNull = equal && condition.value == QLatin1String("null"); // not a finite number
    if (form.isMap())
        return QStringLiteral("has the fields %1: name one").arg(fieldNames(form.toMap()));
    if ((form.isInteger() || form.isDouble()) && !isNumber(condition.value) && !isNull)
        return QStringLiteral("is a number, never %1").arg(condition.value);
    if (form.isBool() && !(equal && isBool(condition.value)))
        return QStringLiteral("is true or false");
    if (form.isString() && !equal)
        return QStringLiteral("is a text");
    return QString();
}

/// What the text after the signal's name says; nothing is said of a form that is not known.
QString check(const Condition &condition, const KnownSignals &knownSignals)
{
    QCborValue form = knownSignals.value(condition.signal);
    if (form.isUndefined())
        return QString();
    QString mistake = follow(condition.fields, condition.signal, form);
    if (!mistake.isEmpty() || condition.comparison == Condition::Comparison::Seen)
        return mistake;
    mistake = mismatch(condition, form);
    if (!mistake.isEmpty())
        mistake.prepend((QStringList(condition.signal) + condition.fields).join(QLatin1Char('.')) +
                        QLatin1Char(' '));
    return mistake;
}

} // namespace

bool Condition::isMetBy(const QCborValue &signalValue) const
{
    QCborValue seen = signalValue;
    for (const QString &field : fields)
        seen = seen.toMap().value(field);
    if (seen.isUndefined())
        return false;
    if (comparison == Comparison::Seen)
        return true;
    if (seen.isInteger() || seen.isDouble())
        return compareNumber(seen.toDouble(), comparison, value);
    return comparison == Comparison::Equal && equalOther(seen, value);
}

std::optional<Condition> Condition::parse(const QString &text, const KnownSignals &knownSignals,
                                          QString &error)
{
    Condition condition;
    condition.signal = longestName(text, knownSignals);
    if (condition.signal.isEmpty()) {
        error = QStringLiteral("no signal is called %1").arg(text);
        return std::nullopt;
    }
    const QString rest = text.mid(condition.signal.size());
    int sign = 0;
    while (sign < rest.size() && !QStringLiteral("=<>").contains(rest.at(sign)))
        ++sign;
    if (sign > 0)
        condition.fields = rest.mid(1, sign - 1).split(QLatin1Char('.'));
    if (sign < rest.size()) {
        condition.comparison = comparisonOf(rest.at(sign));
        condition.value = rest.mid(sign + 1);
    }
    if (condition.fields.contains(QString()))
        error = QStringLiteral("a field name is missing in %1").arg(text);
    else if ((condition.comparison == Comparison::Less || condition.comparison == Comparison::Greater) &&
             !isNumber(condition.value))
        error = QStringLiteral("a number is missing in %1").arg(text);
    else
        error = check(condition, knownSignals);
    return error.isEmpty() ? std::make_optional(condition) : std::nullopt;
}
