#include "deck/cli/CommandDocs.h"
#include "deck/host/HostError.h"

#include <CLI/CLI.hpp>

#include <sstream>

namespace deck::cli {
namespace {

std::string Joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

/// In single quotes, as all three shells take them; fish reads no '\'' but \'.
std::string Quoted(const std::string& text, const std::string& apostrophe)
{
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? apostrophe : std::string(1, c);
    }
    return quoted + "'";
}

std::vector<std::string> CommandNames(const std::vector<CommandDocs>& commands)
{
    std::vector<std::string> names;
    for (const CommandDocs& command : commands) {
        if (!command.name.empty()) {
            names.push_back(command.name);
        }
    }
    return names;
}

// ------------------------------------------------------------------ bash

// The shell breaks words at ":" and "=", which port names and options have.
constexpr char kBashHead[]
    = R"(# bash completion of korva-deck, made by `korva-deck completion bash`

_korva_deck_ports() { # source|destination WORD
    local word=$2 head quote='' name
    case $word in [\"\']*) quote=${word:0:1} word=${word:1} ;; esac
    [[ $quote ]] || word=${word//\\/}
    head=${word%"${word##*:}"}
    [[ $quote ]] && head=
    while IFS= read -r name; do
        [[ $name == "$word"* ]] || continue
        name=${name#"$head"}
        [[ $quote ]] || printf -v name %q "$name"
        COMPREPLY+=("$name")
    done < <("${COMP_WORDS[0]}" ports --names "$1" 2>/dev/null)
}

_korva_deck() {
    local cur=${COMP_WORDS[COMP_CWORD]} at=$COMP_CWORD command='' words='' kinds='' i
    while ((at > 1)) && [[ ${COMP_WORDS[at]} == : || ${COMP_WORDS[at - 1]} == : ]]; do
        cur=${COMP_WORDS[--at]}$cur
    done
    local prev=${COMP_WORDS[at - 1]}
    if [[ $cur == = ]]; then
        cur=
    elif [[ $prev == = ]]; then
        prev=${COMP_WORDS[at - 2]}
    fi
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in -*) ;; *) command=${COMP_WORDS[i]}; break ;; esac
    done
    COMPREPLY=()
    case "$command $prev" in
)";

constexpr char kBashTail[] = R"(    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    if [[ $kinds == *f* ]]; then
        compopt -o filenames 2>/dev/null
        mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$cur")
    fi
}

complete -F _korva_deck korva-deck
)";

std::string BashValues(const OptionDocs& option)
{
    static const std::string kMany = "mapfile -t COMPREPLY < <(compgen ";
    switch (option.kind) {
    case ValueKind::Words:
        return kMany + "-W '" + Joined(option.words) + "' -- \"$cur\")";
    case ValueKind::File:
        return "compopt -o filenames 2>/dev/null; " + kMany + "-f -- \"$cur\")";
    case ValueKind::Folder:
        return "compopt -o filenames 2>/dev/null; " + kMany + "-d -- \"$cur\")";
    case ValueKind::Source:
        return "_korva_deck_ports source \"$cur\"";
    case ValueKind::Destination:
        return "_korva_deck_ports destination \"$cur\"";
    case ValueKind::None:
    case ValueKind::Any:
        break;
    }
    return ":";
}

void WriteBashValues(std::ostream& script, const CommandDocs& command)
{
    for (const OptionDocs& option : command.options) {
        if (option.kind == ValueKind::None || option.isPositional) {
            continue;
        }
        for (const std::string& name : option.names) {
            script << "        '" << command.name << " " << name << "') " << BashValues(option)
                   << "; return ;;\n";
        }
    }
}

void WriteBashWords(
    std::ostream& script, const CommandDocs& command, const std::vector<std::string>& more)
{
    std::vector<std::string> words = more;
    bool takesFile = false;
    for (const OptionDocs& option : command.options) {
        const auto& offered = option.isPositional ? option.words : option.names;
        words.insert(words.end(), offered.begin(), offered.end());
        takesFile = takesFile || (option.isPositional && option.kind == ValueKind::File);
    }
    script << "        '" << command.name << "') words='" << Joined(words) << "'"
           << (takesFile ? " kinds=f" : "") << " ;;\n";
}

std::string BashScript(const std::vector<CommandDocs>& commands)
{
    std::ostringstream script;
    script << kBashHead;
    for (const CommandDocs& command : commands) {
        WriteBashValues(script, command);
    }
    script << "    esac\n    case $command in\n";
    for (const CommandDocs& command : commands) {
        const bool isRoot = command.name.empty();
        WriteBashWords(
            script, command, isRoot ? CommandNames(commands) : std::vector<std::string>{});
    }
    script << kBashTail;
    return script.str();
}

// ------------------------------------------------------------------ zsh

constexpr char kZshHead[] = R"(#compdef korva-deck
# zsh completion of korva-deck, made by `korva-deck completion zsh`

_korva_deck_ports() { # source|destination
    local -a names
    names=("${(@f)$(_call_program ports korva-deck ports --names $1)}")
    compadd -a names
}

_korva_deck() {
    local context state state_descr line
    typeset -A opt_args
    local -a commands=(
)";

// The first time, a file of $fpath is the function itself.
constexpr char kZshTail[] = R"(if [[ $funcstack[1] == _korva-deck ]]; then
    _korva_deck "$@"
else
    compdef _korva_deck korva-deck
fi
)";

std::string ZshAction(const OptionDocs& option)
{
    switch (option.kind) {
    case ValueKind::Words:
        return "(" + Joined(option.words) + ")";
    case ValueKind::File:
        return "_files";
    case ValueKind::Folder:
        return "_files -/";
    case ValueKind::Source:
        return "_korva_deck_ports source";
    case ValueKind::Destination:
        return "_korva_deck_ports destination";
    case ValueKind::None:
    case ValueKind::Any:
        break;
    }
    return " ";
}

// What zsh would take for the end of a description.
std::string ZshText(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        escaped += c == '[' || c == ']' || c == ':' || c == '\\' ? std::string("\\") + c
                                                                 : std::string(1, c);
    }
    return escaped;
}

void WriteZshOptions(std::ostream& script, const CommandDocs& command, const std::string& indent)
{
    for (const OptionDocs& option : command.options) {
        const std::string value = ZshText(option.value) + ":" + ZshAction(option);
        if (option.isPositional) {
            script << " \\\n" << indent << Quoted("*:" + value, "'\\''");
            continue;
        }
        for (const std::string& name : option.names) {
            const bool isFlag = option.kind == ValueKind::None;
            const std::string spec = name + (isFlag ? "" : "=") + "[" + ZshText(option.about) + "]"
                + (isFlag ? "" : ":" + value);
            script << " \\\n" << indent << Quoted(spec, "'\\''");
        }
    }
}

std::string ZshScript(const std::vector<CommandDocs>& commands)
{
    std::ostringstream script;
    script << kZshHead;
    for (std::size_t i = 1; i < commands.size(); ++i) {
        script << "        " << Quoted(commands[i].name + ":" + ZshText(commands[i].about), "'\\''")
               << "\n";
    }
    script << "    )\n    _arguments -C";
    WriteZshOptions(script, commands.front(), "        ");
    script << " \\\n        '1:command:->command' '*::argument:->argument'\n"
           << "    case $state in\n        command) _describe command commands ;;\n"
           << "        argument)\n            case $line[1] in\n";
    for (std::size_t i = 1; i < commands.size(); ++i) {
        script << "                " << commands[i].name << ") _arguments";
        WriteZshOptions(script, commands[i], "                    ");
        script << " ;;\n";
    }
    script << "            esac ;;\n    esac\n}\n\n" << kZshTail;
    return script.str();
}

// ------------------------------------------------------------------ fish

std::string FishValues(const OptionDocs& option)
{
    switch (option.kind) {
    case ValueKind::Words:
        return " -x -a '" + Joined(option.words) + "'";
    case ValueKind::File:
        return " -r -F";
    case ValueKind::Folder:
        return " -x -a '(__fish_complete_directories)'";
    case ValueKind::Source:
        return " -x -a '(korva-deck ports --names source 2>/dev/null)'";
    case ValueKind::Destination:
        return " -x -a '(korva-deck ports --names destination 2>/dev/null)'";
    case ValueKind::Any:
        return " -x";
    case ValueKind::None:
        break;
    }
    return "";
}

void WriteFishOption(std::ostream& script, const std::string& condition, const OptionDocs& option)
{
    script << "complete -c korva-deck -n '" << condition << "'";
    for (const std::string& name : option.names) {
        if (!option.isPositional) {
            script << (name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1));
        }
    }
    script << FishValues(option) << " -d " << Quoted(option.about, "\\'") << "\n";
}

std::string FishScript(const std::vector<CommandDocs>& commands)
{
    std::ostringstream script;
    script << "# fish completion of korva-deck, made by `korva-deck completion fish`\n\n"
           << "complete -c korva-deck -f\n";
    for (std::size_t i = 1; i < commands.size(); ++i) {
        script << "complete -c korva-deck -n __fish_use_subcommand -a " << commands[i].name
               << " -d " << Quoted(commands[i].about, "\\'") << "\n";
    }
    for (const CommandDocs& command : commands) {
        const std::string condition = command.name.empty()
            ? "__fish_use_subcommand"
            : "__fish_seen_subcommand_from " + command.name;
        for (const OptionDocs& option : command.options) {
            WriteFishOption(script, condition, option);
        }
    }
    return script.str();
}

} // namespace

std::string CompletionScript(const CLI::App& app, const std::string& shell)
{
    const std::vector<CommandDocs> commands = DescribeCommands(app);
    if (shell == "bash") {
        return BashScript(commands);
    }
    if (shell == "zsh") {
        return ZshScript(commands);
    }
    if (shell == "fish") {
        return FishScript(commands);
    }
    throw HostError("completion " + shell + ": it is bash, zsh or fish");
}

} // namespace deck::cli
