#pragma once
// The options that several verbs have in common, and the session that they ask for.

#include <CLI/CLI.hpp>

#include "pipeline/session/session.h"

namespace focusfall {

struct shared_options : session_options {  // NOLINT(bugprone-exception-escape)
    bool quiet = false;
    bool hide_times = false;  // drops the line in which a tool prints its time

    // Each adds the options of the one before it and more. `this` must outlive the verb's
    // callback.
    void add_plugin_options(CLI::App& verb);  // --plugin
    void add_class_options(CLI::App& verb);   // --tool
    void add_tool_options(CLI::App& verb);    // --settings, --set
    // For a verb that renders: --threads, --quiet.
    void add_run_options(CLI::App& verb);
};

// A session that prints what tools say to standard error, unless `quiet`. Throws as the
// session's constructor.
session opened_session(const shared_options& options);

// A tool of the session. Says on standard error, unless `quiet`, which edits have no
// effect. Throws as session::create_tool.
std::unique_ptr<headless::tool> created_tool(session& opened,
                                             const shared_options& options);

}  // namespace focusfall
