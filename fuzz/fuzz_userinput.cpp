// SPDX-License-Identifier: MIT
// What users type: addresses, scripts, conditions, payloads, settings, command lines.
//
// The first byte of an input says what the others are.
#include "common/linkaddress.h"
#include "common/payloadargument.h"
#include "ground/groundoptions.h"
#include "host/condition.h"
#include "host/hostoptions.h"
#include "host/scriptparser.h"
#include "sim/simoptions.h"
#include "support/fuzzapp.h"
#include "support/fuzzcheck.h"
#include "support/inputbytes.h"

#include <cmath>

namespace {

const KnownSignals &knownSignals()
{
    static const KnownSignals names = allKnownSignals();
    return names;
}

void checkError(const QString &error)
{
    fuzzCheck(!error.isEmpty(), "an error says why");
}

void checkAddress(const QString &text)
{
    QString error;
    const auto address = LinkAddress::parse(text, &error);
    if (!address)
        return checkError(error);
    const auto again = LinkAddress::parse(address->toString(), &error);
    fuzzCheck(again && again->toString() == address->toString(), "an address reads back");
    fuzzCheck(again->kind == address->kind && again->host == address->host && again->port == address->port &&
                  again->path == address->path && again->baud == address->baud,
              "the same address");
}

void checkScript(const QByteArray &script)
{
    ScriptParser parser(knownSignals());
    const auto commands = parser.parseAll(script);
    if (!commands)
        return checkError(parser.errorText());
    for (const ScriptCommand &command : *commands)
        if (command.kind == ScriptCommand::Kind::Velocity)
            fuzzCheck(std::isfinite(command.velocity.x) && std::isfinite(command.velocity.y) &&
                          std::isfinite(command.velocity.z),
                      "only numbers fly");
}

void checkCondition(const QString &text)
{
    QString error;
    const auto condition = Condition::parse(text, knownSignals(), error);
    if (!condition)
        return checkError(error);
    fuzzCheck(knownSignals().contains(condition->signal), "a known signal");
    condition->isMetBy(QCborValue(1.5));
    condition->isMetBy(QCborValue());
}

void checkPayload(const QString &text)
{
    if (text.startsWith(QLatin1Char('@')))
        return; // a file of this machine
    PayloadArgument::Error error;
    const auto payload = PayloadArgument::parse(text, &error);
    if (!payload)
        return checkError(error.text);
    fuzzCheck(!payload->isEmpty() && payload->size() <= 65535, "a payload that fits");
}

template <class Options, class Error>
void checkOptions(const QStringList &words, Error passError)
{
    QString error;
    const auto options = Options::parse(QStringList(QStringLiteral("tool")) + words, passError(error));
    if (!options)
        checkError(error);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8 *data, size_t size)
{
    fuzzApp();
    InputBytes input(data, size);
    const quint8 which = input.byte();
    const QByteArray bytes = input.rest();
    const QString text = QString::fromUtf8(bytes);
    const QStringList words = text.split(QLatin1Char('\n'));
    const auto byPointer = [](QString &error) { return &error; };
    const auto byReference = [](QString &error) -> QString & { return error; };
    if (which == 0)
        checkAddress(text);
    else if (which == 1)
        checkScript(bytes);
    else if (which == 2)
        checkCondition(text);
    else if (which == 3)
        checkPayload(text);
    else if (which == 4)
        checkOptions<HostOptions>(words, byReference);
    else if (which == 5)
        checkOptions<SimOptions>(words, byPointer);
    else
        checkOptions<GroundOptions>(words, byPointer);
    return 0;
}
