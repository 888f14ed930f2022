// SPDX-License-Identifier: MIT
#pragma once

#include "host/completion.h"
#include "host/linesource.h"

#include <functional>

class QSocketNotifier;

/// Lines typed at a terminal, with editing, history and completion (libedit). The event loop goes on while
/// somebody types.
///
/// The history is kept in the user's state folder; a history that cannot be read or written is none. One per
/// process: the library has one state. The terminal is put right again on destruction.
class PromptReader : public LineSource
{
    Q_OBJECT

public:
    /// Shows what a word can become, for which a second Tab asks. @return false: the library is to list it.
    using Lister = std::function<bool(const QStringList &words)>;

    /// @param echo descriptor of the terminal that shows what is typed.
    PromptReader(const Completion &completion, int echo, Lister lister, QObject *parent = nullptr);
    ~PromptReader() override;

    void request() override;

private:
    static void onLine(char *line);
    static char **complete(const char *word, int start, int end);
    static char *nextCandidate(const char *word, int state);
    void take(const char *line);
    void stop();

    static PromptReader *instance;
    Completion completion;
    Lister list;
    QStringList candidates; // of the word that is being completed
    QSocketNotifier *notifier;
    FILE *output;
    bool asking = false;
};
