// What a subcommand found out: lines of text for people, or one JSON object for scripts, of the same facts.
#include "Facts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace command
{
namespace
{
std::string JsonNumber(double value)
{
    if (!std::isfinite(value))
        return "null";
    std::array<char, 32> text;
    return std::string(text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr);
}

/// Columns that a text takes: characters of UTF-8, not bytes.
int Columns(const std::string& text)
{
    return static_cast<int>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

void Padded(std::FILE* to, const std::string& text, int columns)
{
    std::fprintf(to, "%s%*s", text.c_str(), std::max(0, columns - Columns(text)), "");
}
} // namespace

std::string Quoted(const std::string& text)
{
    std::string out = "\"";
    for (const char c : text)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            out += '\\';
        if (byte >= 0x20)
            out += c;
        else
        {
            std::array<char, 8> escape;
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(byte));
            out += escape.data();
        }
    }
    return out + '"';
}

void Facts::Add(const std::string& key, const std::string& label, double value, Kind kind)
{
    facts_.push_back({key, label, Show(value, kind), JsonNumber(value), {}, false});
}

void Facts::Add(const std::string& key, const std::string& label, const std::string& value)
{
    facts_.push_back({key, label, value, Quoted(value), {}, false});
}

void Facts::Add(const std::string& key, const std::string& label, bool value)
{
    facts_.push_back({key, label, value ? "yes" : "no", value ? "true" : "false", {}, false});
}

void Facts::Add(const std::string& key, const std::string& label, const std::vector<double>& values, Kind kind,
                const char* separator)
{
    std::string shown;
    std::string json = "[";
    for (std::size_t n = 0; n < values.size(); ++n)
    {
        shown += (n == 0 ? "" : separator) + Show(values[n], kind);
        json += (n == 0 ? "" : ", ") + JsonNumber(values[n]);
    }
    facts_.push_back({key, label, shown, json + "]", {}, false});
}

void Facts::AddList(const std::string& key, const std::string& label, const std::vector<std::string>& texts)
{
    std::string shown;
    std::string json;
    for (const std::string& text : texts)
    {
        shown += (shown.empty() ? "" : "\n") + text;
        json += (json.empty() ? "" : ", ") + Quoted(text);
    }
    facts_.push_back({key, label, shown, "[" + json + "]", {}, false});
}

Facts& Facts::Section(const std::string& key, const std::string& heading)
{
    facts_.push_back({key, heading, "", "", {}, false});
    return facts_.back().parts.emplace_back();
}

Facts& Facts::Row(const std::string& key, const std::string& heading)
{
    for (Fact& fact : facts_)
        if (fact.key == key)
            return fact.parts.emplace_back();
    facts_.push_back({key, heading, "", "", {}, true});
    return facts_.back().parts.emplace_back();
}

void Facts::PrintTable(const Fact& fact, std::FILE* to, int indent) const
{
    const Facts& first = fact.parts.front();
    std::vector<int> widths;
    for (std::size_t n = 0; n < first.facts_.size(); ++n)
    {
        int width = Columns(first.facts_[n].label);
        for (const Facts& row : fact.parts)
            if (n < row.facts_.size())
                width = std::max(width, Columns(row.facts_[n].shown));
        widths.push_back(width + 2);
    }
    const auto line = [&](const Facts& row, std::string Fact::*what)
    {
        std::fprintf(to, "%*s", indent + 2, "");
        for (std::size_t n = 0; n < std::min(row.facts_.size(), widths.size()); ++n)
            if (!first.facts_[n].label.empty())
                Padded(to, row.facts_[n].*what, n + 1 == row.facts_.size() ? 0 : widths[n]);
        std::fputc('\n', to);
    };
    if (!fact.label.empty())
        std::fprintf(to, "%*s%s\n", indent, "", fact.label.c_str());
    if (std::any_of(first.facts_.begin(), first.facts_.end(), [](const Fact& f) { return !f.label.empty(); }))
        line(first, &Fact::label);
    for (const Facts& row : fact.parts)
        line(row, &Fact::shown);
}

void Facts::PrintText(std::FILE* to, int indent) const
{
    std::fputs(block_.c_str(), to);
    int width = 0;
    for (const Fact& fact : facts_)
        if (fact.parts.empty())
            width = std::max(width, Columns(fact.label));
    for (const Fact& fact : facts_)
    {
        if (fact.table)
            PrintTable(fact, to, indent);
        else if (!fact.parts.empty())
        {
            std::fprintf(to, "%*s%s\n", indent, "", fact.label.c_str());
            fact.parts.front().PrintText(to, indent + 2);
        }
        else if (!fact.label.empty())
        {
            std::string shown = fact.shown;
            for (std::size_t at = 0; (at = shown.find('\n', at)) != std::string::npos; ++at)
                shown.insert(at + 1, static_cast<std::size_t>(indent + width + 2), ' ');
            std::fprintf(to, "%*s", indent, "");
            Padded(to, fact.label, width + 2);
            std::fprintf(to, "%s\n", shown.c_str());
        }
    }
    for (const std::string& note : notes_)
        std::fprintf(to, "%*snote: %s\n", indent, "", note.c_str());
}

std::string Facts::Json(int indent) const
{
    const std::string pad(static_cast<std::size_t>(indent) + 2, ' ');
    std::string out = "{";
    const char* comma = "\n";
    const auto item = [&](const std::string& key, const std::string& json)
    {
        out += comma + pad + Quoted(key) + ": " + json;
        comma = ",\n";
    };
    for (const Fact& fact : facts_)
    {
        if (fact.parts.empty())
            item(fact.key, fact.json);
        else if (!fact.table)
            item(fact.key, fact.parts.front().Json(indent + 2));
        else
        {
            std::string rows;
            for (const Facts& row : fact.parts)
                rows += (rows.empty() ? "[\n" : ",\n") + pad + "  " + row.Json(indent + 4);
            item(fact.key, rows + "\n" + pad + "]");
        }
    }
    if (!notes_.empty())
    {
        std::string list;
        for (const std::string& note : notes_)
            list += (list.empty() ? "[" : ", ") + Quoted(note);
        item("notes", list + "]");
    }
    return out + "\n" + std::string(static_cast<std::size_t>(indent), ' ') + "}";
}

void Facts::PrintJson(std::FILE* to) const
{
    std::fprintf(to, "%s\n", Json().c_str());
}

std::vector<std::pair<std::string, std::string>> Facts::Lines() const
{
    std::vector<std::pair<std::string, std::string>> lines;
    for (const Fact& fact : facts_)
    {
        if (fact.parts.empty() && !fact.label.empty())
            lines.emplace_back(fact.label, fact.shown);
        for (const Facts& part : fact.parts)
            for (const auto& line : part.Lines())
                lines.push_back(line);
    }
    return lines;
}
} // namespace command
