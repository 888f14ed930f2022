// SPDX-License-Identifier: MIT
#include "host/promptreader.h"

#include <QDir>
#include <QFile>
#include <QSocketNotifier>
#include <QStandardPaths>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <editline/readline.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr int KeptLines = 500;
constexpr int NoQuestion = 100000; // candidates that are listed without asking first
constexpr const char *Prompt = "> ";

QByteArray historyFile()
{
    const QString base =
        qEnvironmentVariable("XDG_STATE_HOME", QDir::homePath() + QLatin1String("/.local/state"));
    const QString folder = base + QLatin1String("/noflailsten");
    return QDir().mkpath(folder) ? QFile::encodeName(folder + QLatin1String("/history")) : QByteArray();
}

} // namespace

PromptReader *PromptReader::instance = nullptr;

PromptReader::PromptReader(const Completion &words, int echo, Lister lister, QObject *parent)
    : LineSource(parent)
    , completion(words)
    , list(std::move(lister))
    , notifier(new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this))
    , output(::fdopen(::dup(echo), "w"))
{
    instance = this;
    notifier->setEnabled(false);
    connect(notifier, &QSocketNotifier::activated, this, [] { rl_callback_read_char(); });
    static char name[] = "noflailsten-host";
    rl_readline_name = name;
    rl_outstream = output;
    rl_catch_signals = 0; // Ctrl-C is the program's
    rl_completion_query_items = NoQuestion;
    rl_attempted_completion_function = complete;
    using_history();
    stifle_history(KeptLines);
    read_history(historyFile().constData());
}

PromptReader::~PromptReader()
{
    stop();
    write_history(historyFile().constData());
    instance = nullptr;
}

void PromptReader::request()
{
    asking = true;
    rl_callback_handler_install(Prompt, onLine);
    notifier->setEnabled(true);
}

void PromptReader::stop()
{
    if (!asking)
        return;
    asking = false;
    notifier->setEnabled(false);
    rl_callback_handler_remove();
}

void PromptReader::onLine(char *line)
{
    instance->take(line);
    std::free(line);
}

void PromptReader::take(const char *line)
{
    stop(); // what is typed while a command runs waits in the terminal
    if (!line) {
        Q_EMIT ended();
        return;
    }
    if (*line != '\0')
        add_history(line);
    Q_EMIT lineRead(QString::fromUtf8(line));
}

char **PromptReader::complete(const char *word, int /*start*/, int end)
{
    rl_attempted_completion_over = 1; // no file names
    QStringList &candidates = instance->candidates;
    candidates = instance->completion.candidates(QString::fromUtf8(rl_line_buffer, end));
    const bool again = rl_completion_type == '?'; // Tab was the key before too
    if (again && candidates.size() > 1 && instance->list(candidates))
        return nullptr;
    return rl_completion_matches(word, nextCandidate);
}

char *PromptReader::nextCandidate(const char *, int state)
{
    QStringList &left = instance->candidates;
    Q_UNUSED(state)
    return left.isEmpty() ? nullptr : ::strdup(left.takeFirst().toUtf8().constData());
}
