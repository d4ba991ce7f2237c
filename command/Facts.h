// What a subcommand found out: lines of text for people, or one JSON object for scripts, of the same facts.
#ifndef LMLCOMMAND_FACTS_H
#define LMLCOMMAND_FACTS_H

#include "Quantity.h"

#include <cstdio>
#include <deque>
#include <string>

namespace command
{
/// An object of named facts in the order in which they came. Numbers in JSON are in SI units, angles in radians; what
/// is not finite is null there.
class Facts
{
public:
    /// `label` is what people read; an empty one leaves the fact to JSON.
    void Add(const std::string& key, const std::string& label, double value, Kind kind = Kind::Number);
    void Add(const std::string& key, const std::string& label, const std::string& value);
    void Add(const std::string& key, const std::string& label, bool value);
    /// Two or more numbers that belong together: an array, and in the text `separator` between them.
    void Add(const std::string& key, const std::string& label, const std::vector<double>& values, Kind kind,
             const char* separator = " by ");
    /// Sentences: an array of strings, and a line for each.
    void AddList(const std::string& key, const std::string& label, const std::vector<std::string>& texts);
    /// An object inside this one, its lines under a heading.
    Facts& Section(const std::string& key, const std::string& heading);
    /// One more object of an array; in the text a row of a table whose heads are the labels.
    Facts& Row(const std::string& key, const std::string& heading);
    /// A remark for people, an element of the array "notes".
    void Note(const std::string& text) { notes_.push_back(text); }

    /// Lines as they stand, for people only.
    void Block(const std::string& text) { block_ += text; }

    void PrintText(std::FILE* to, int indent = 0) const;
    void PrintJson(std::FILE* to) const;
    std::string Json(int indent = 0) const;
    /// Pairs of label and shown value, sections flattened, for a page.
    std::vector<std::pair<std::string, std::string>> Lines() const;

private:
    struct Fact
    {
        std::string key;
        std::string label;
        std::string shown;
        std::string json;
        std::deque<Facts> parts; // one of a section, all rows of a table
        bool table = false;
    };
    void PrintTable(const Fact& fact, std::FILE* to, int indent) const;

    std::deque<Fact> facts_;
    std::vector<std::string> notes_;
    std::string block_;
};

/// A text as a JSON string with its quotes.
std::string Quoted(const std::string& text);
} // namespace command

#endif
