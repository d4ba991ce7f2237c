// The manual pages and the shell completion, written from the options that the program really takes.
#include "Help.h"
#include "Invocation.h"
#include "Subcommands.h"

#include <LmlRuntime.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

namespace command
{
namespace
{
/// A text for troff: hyphens that can be copied, no request at the begin of a line.
std::string Troff(const std::string& text)
{
    std::string out;
    for (const char c : text)
    {
        if (c == '\\')
            out += "\\e";
        else if (c == '-')
            out += "\\-";
        else if ((c == '.' || c == '\'') && (out.empty() || out.back() == '\n'))
            out += std::string("\\&") + c;
        else
            out += c;
    }
    return out;
}

std::vector<const CLI::App*> SubcommandsOf(const CLI::App& app)
{
    std::vector<const CLI::App*> shown;
    for (const CLI::App* sub : app.get_subcommands([](const CLI::App*) { return true; }))
        if (!sub->get_group().empty())
            shown.push_back(sub);
    return shown;
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app)
{
    std::vector<const CLI::Option*> shown;
    for (const CLI::Option* option : app.get_options([](const CLI::Option*) { return true; }))
        if (!option->get_group().empty())
            shown.push_back(option);
    return shown;
}

void WriteOption(std::ostream& page, const CLI::Option& option)
{
    page << ".TP\n.B " << Troff(NamesOf(option));
    if (!WordOf(option).empty())
        page << " \\fI" << Troff(WordOf(option)) << "\\fR";
    page << "\n" << Troff(MeaningOf(option)) << ".\n";
}

void WriteOptions(std::ostream& page, const CLI::App& app)
{
    std::vector<std::string> groups;
    for (const CLI::Option* option : OptionsOf(app))
        if (!option->get_positional() && std::find(groups.begin(), groups.end(), option->get_group()) == groups.end())
            groups.push_back(option->get_group());
    for (const std::string& group : groups)
    {
        page << ".SS " << Troff(group) << "\n";
        for (const CLI::Option* option : OptionsOf(app))
            if (!option->get_positional() && option->get_group() == group)
                WriteOption(page, *option);
    }
}

std::string Synopsis(const CLI::App& app, const std::string& name)
{
    std::string line = ".B " + Troff(name) + "\n";
    for (const CLI::Option* option : OptionsOf(app))
        if (option->get_positional())
            line += (option->get_required() ? ".I " : ".RI [ ") + Troff(option->get_name(true)) +
                    (option->get_required() ? "\n" : " ]\n");
    return line + "[options]\n";
}

void WriteEnd(std::ostream& page, const CLI::App& root, const std::string& self)
{
    page
        << ".SH EXIT STATUS\n.TP\n.B 0\ndone\n.TP\n.B 1\nfailed: a file, memory, or what was asked for cannot be done\n"
           ".TP\n.B 2\nwrong arguments\n.TP\n.B 3\nthe answer is no: no way is good enough (advise, propagate), or the "
           "difference is above \\-\\-tolerance (compare)\n.TP\n.B 130\nstopped by Ctrl\\-C; in general 128 and the "
           "number of the signal. Nothing is left under the name of the output.\n"
           ".SH ENVIRONMENT\n.TP\n.B LML_ISA\nlimits the instruction set as \\-\\-isa does: sse2, avx2 or avx512\n"
           ".SH SEE ALSO\n";
    std::string comma;
    for (const CLI::App* sub : SubcommandsOf(root))
    {
        const std::string name = root.get_name() + "-" + sub->get_name();
        if (name == self)
            continue;
        page << comma << ".BR " << Troff(name) << " (1)";
        comma = ",\n";
    }
    page << "\n";
}

void WriteHead(std::ostream& page, const std::string& name, const std::string& purpose)
{
    std::string upper = name;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    page << ".TH " << Troff(upper) << " 1 \"\" \"LumoraLib " << LumoraLib::GetVersionString()
         << "\" \"User commands\"\n.SH NAME\n"
         << Troff(name) << " \\- " << Troff(purpose) << "\n";
}

void WriteExamples(std::ostream& page, const std::string& footer)
{
    if (footer.empty())
        return;
    page << ".SH EXAMPLES\n.nf\n";
    std::istringstream lines(footer);
    for (std::string line; std::getline(lines, line);)
        if (line.rfind("Example", 0) != 0)
            page << Troff(line) << "\n";
    page << ".fi\n";
}

void WriteRootPage(std::ostream& page, const CLI::App& root)
{
    WriteHead(page, root.get_name(), root.get_description());
    page << ".SH SYNOPSIS\n.B " << Troff(root.get_name())
         << "\n.I subcommand\n[arguments] [options]\n.SH DESCRIPTION\n";
    for (const CLI::App* sub : SubcommandsOf(root))
        page << ".TP\n.BR " << Troff(root.get_name() + "-" + sub->get_name()) << " (1)\n"
             << Troff(sub->get_description()) << ".\n";
    page << ".SH UNITS\nLengths take km, m, cm, mm, um, nm and pm; a number without a unit is metres. Angles take deg, "
            "rad and mrad, memory KiB, MiB and GiB. Two values are x,y; sizes are 1024x512.\n.SH OPTIONS\n";
    WriteOptions(page, root);
    WriteEnd(page, root, "");
}

void WritePage(std::ostream& page, const CLI::App& root, const CLI::App& app)
{
    const std::string name = root.get_name() + "-" + app.get_name();
    WriteHead(page, name, app.get_description());
    page << ".SH SYNOPSIS\n";
    const std::vector<const CLI::App*> kinds = SubcommandsOf(app);
    if (kinds.empty())
        page << Synopsis(app, root.get_name() + " " + app.get_name());
    for (const CLI::App* kind : kinds)
        page << Synopsis(*kind, root.get_name() + " " + app.get_name() + " " + kind->get_name()) << ".br\n";
    page << ".SH ARGUMENTS\n";
    for (const CLI::Option* option : OptionsOf(kinds.empty() ? app : *kinds.front()))
        if (option->get_positional())
            page << ".TP\n.I " << Troff(option->get_name(true)) << "\n" << Troff(option->get_description()) << ".\n";
    page << ".SH OPTIONS\n";
    if (kinds.empty())
        WriteOptions(page, app);
    for (const CLI::App* kind : kinds)
    {
        page << ".SS " << Troff(kind->get_name() + ": " + kind->get_description()) << "\n";
        for (const CLI::Option* option : OptionsOf(*kind))
            if (!option->get_positional() && (option->get_group() == "Options" || kind == kinds.front()))
                WriteOption(page, *option);
    }
    WriteExamples(page, app.get_footer());
    WriteEnd(page, root, name);
}

std::string Words(const CLI::App& app)
{
    std::string words;
    for (const CLI::Option* option : OptionsOf(app))
        for (const std::string& name : option->get_lnames())
            words += "--" + name + " ";
    for (const CLI::App* sub : SubcommandsOf(app))
        words += sub->get_name() + " ";
    return words;
}

void WriteValues(std::ostream& script, const CLI::App& app, std::map<std::string, std::string>& seen)
{
    for (const CLI::Option* option : OptionsOf(app))
    {
        std::string values;
        for (const std::string& value : ValuesOf(*option))
            values += value + " ";
        if (values.empty())
            continue;
        for (const std::string& name : option->get_lnames())
        {
            const std::string key = app.get_name() + ":--" + name;
            if (seen.emplace(key, values).second)
                script << "        \"" << key << "\") values=\"" << values << "\" ;;\n";
        }
    }
    for (const CLI::App* sub : SubcommandsOf(app))
        WriteValues(script, *sub, seen);
}

void WriteCompletion(std::ostream& script, const CLI::App& root)
{
    std::string function = "_" + root.get_name();
    std::replace(function.begin(), function.end(), '-', '_');
    script << "# Completion of " << root.get_name() << " for bash, written by the program from its options.\n"
           << function
           << "()\n{\n"
              "    local word=\"${COMP_WORDS[COMP_CWORD]}\" before=\"${COMP_WORDS[COMP_CWORD-1]}\" "
              "command=\"${COMP_WORDS[1]}\" words=\"\" values=\"\"\n"
              "    if [ \"$COMP_CWORD\" -eq 1 ]; then\n        COMPREPLY=($(compgen -W \""
           << Words(root) << "\" -- \"$word\"))\n        return\n    fi\n    case \"$command\" in\n";
    for (const CLI::App* sub : SubcommandsOf(root))
    {
        script << "    " << sub->get_name() << ")\n        words=\"" << Words(*sub) << "\"\n";
        if (!SubcommandsOf(*sub).empty())
        {
            script << "        if [ \"$COMP_CWORD\" -gt 2 ]; then\n            command=\"${COMP_WORDS[2]}\"\n"
                      "            case \"$command\" in\n";
            for (const CLI::App* kind : SubcommandsOf(*sub))
                script << "            " << kind->get_name() << ") words=\"" << Words(*kind) << "\" ;;\n";
            script << "            esac\n        fi\n";
        }
        script << "        ;;\n";
    }
    script << "    esac\n    case \"$command:$before\" in\n";
    std::map<std::string, std::string> seen;
    for (const CLI::App* sub : SubcommandsOf(root))
        WriteValues(script, *sub, seen);
    script
        << "    esac\n    if [ -n \"$values\" ]; then\n        COMPREPLY=($(compgen -W \"$values\" -- \"$word\"))\n"
           "    elif [ \"${word#-}\" != \"$word\" ] || [ \"$COMP_CWORD\" -eq 2 -a \"${COMP_WORDS[1]}\" = make ]; then\n"
           "        COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n    else\n        compopt -o filenames\n"
           "        COMPREPLY=($(compgen -f -- \"$word\"))\n    fi\n}\n"
        << "complete -F " << function << " " << root.get_name() << "\n";
}

int WriteAll(const CLI::App& root, const std::string& folder)
{
    std::filesystem::create_directories(folder);
    const auto write = [&](const std::string& name, const auto& fill)
    {
        std::ofstream file(folder + "/" + name);
        fill(file);
        file.close();
        if (!file)
            throw Failure(folder + "/" + name + ": cannot be written");
    };
    write(root.get_name() + ".1", [&](std::ostream& page) { WriteRootPage(page, root); });
    for (const CLI::App* sub : SubcommandsOf(root))
        write(root.get_name() + "-" + sub->get_name() + ".1", [&](std::ostream& page) { WritePage(page, root, *sub); });
    write(root.get_name() + ".bash", [&](std::ostream& script) { WriteCompletion(script, root); });
    return kDone;
}
} // namespace

void AddManual(CLI::App& app, Invocation& invocation)
{
    CLI::App& sub = *app.add_subcommand("manual", "Write manual pages and shell completion into a folder");
    sub.group("");
    const auto folder = std::make_shared<std::string>();
    sub.add_option("FOLDER", *folder, "Folder")->required();
    invocation.OnCall(sub, [folder, &app] { return WriteAll(app, *folder); });
}
} // namespace command
