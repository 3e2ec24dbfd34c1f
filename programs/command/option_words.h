#pragma once
// The words that a verb's options are written with, as CLI11 keeps them, and their order.

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace focusfall {

// The heading of the options that choose and set the tool.
inline constexpr const char* TOOL_GROUP = "Tool";

// While it lives, options that are added to the verb stand in help under this heading.
class option_group {
  public:
    option_group(CLI::App& verb, const std::string& heading)
        : verb_(verb), earlier_(verb.option_defaults()->get_group()) {
        verb_.option_defaults()->group(heading);
    }
    // NOLINTNEXTLINE(bugprone-exception-escape): a name of a few letters needs no memory
    ~option_group() { verb_.option_defaults()->group(earlier_); }
    option_group(const option_group&) = delete;
    option_group& operator=(const option_group&) = delete;

  private:
    CLI::App& verb_;
    std::string earlier_;
};

// The verbs that --help lists.
std::vector<const CLI::App*> verbs_of(const CLI::App& app);

// The verb of that name, listed or not; null when there is none.
const CLI::App* find_verb(const CLI::App& app, const std::string& name);

// "-o", "--output"; none for an argument that is given by its position.
std::vector<std::string> names_of(const CLI::Option& option);

bool takes_value(const CLI::Option& option);

// "half" and "float" for the type "TEXT:{half,float}"; none when the type lists no
// choices.
std::vector<std::string> choices_of(const CLI::Option& option);

}  // namespace focusfall
