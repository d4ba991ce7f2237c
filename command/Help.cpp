// The texts about options: for --help, the manual pages and the completion alike.
#include "Help.h"

#include <sstream>

namespace command
{
namespace
{
class Formatter : public CLI::Formatter
{
public:
    std::string make_option_name(const CLI::Option* option, bool positional) const override
    {
        return positional ? option->get_name(true) : NamesOf(*option);
    }
    std::string make_option_opts(const CLI::Option* option) const override
    {
        const std::string word = option->get_positional() ? "" : WordOf(*option);
        return word.empty() ? "" : " " + word;
    }
    std::string make_option_desc(const CLI::Option* option) const override { return MeaningOf(*option); }
    std::string make_description(const CLI::App* app) const override { return app->get_description() + ".\n"; }
};
} // namespace

std::string NamesOf(const CLI::Option& option)
{
    if (option.get_positional())
        return option.get_name(true);
    std::string names;
    for (const std::string& name : option.get_snames())
        names += (names.empty() ? "-" : ", -") + name;
    for (const std::string& name : option.get_lnames())
        names += (names.empty() ? "--" : ", --") + name;
    return names;
}

std::string WordOf(const CLI::Option& option)
{
    if (option.get_items_expected_max() == 0)
        return "";
    const std::string word = option.get_type_name(); // the check stands behind a colon
    return word.substr(0, word.find(':'));
}

std::vector<std::string> ValuesOf(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const std::size_t from = type.find('{');
    const std::size_t to = type.find('}');
    std::vector<std::string> values;
    if (from == std::string::npos || to == std::string::npos)
        return values;
    std::istringstream list(type.substr(from + 1, to - from - 1));
    for (std::string value; std::getline(list, value, ',');)
        values.push_back(value);
    return values;
}

std::string MeaningOf(const CLI::Option& option)
{
    std::string text = option.get_description();
    const std::vector<std::string> values = ValuesOf(option);
    for (std::size_t n = 0; n < values.size(); ++n)
        text += (n == 0 ? ": " : n + 1 == values.size() ? " or " : ", ") + values[n];
    if (!option.get_default_str().empty())
        text += " (default " + option.get_default_str() + ")";
    return text;
}

std::shared_ptr<CLI::Formatter> MakeFormatter()
{
    auto formatter = std::make_shared<Formatter>();
    formatter->column_width(34);
    return formatter;
}
} // namespace command
