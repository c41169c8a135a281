// SPDX-License-Identifier: MIT
// vane: the command-line host of the Vane Format Kernel.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/vane/cli.h"

using namespace vane::tool;

namespace {

const Command* Find(const std::string& name) {
  for (const Command& c : Commands())
    if (name == c.name) return &c;
  return nullptr;
}

// The options a usage names ("--json", "-o"), for completion.
std::vector<std::string> OptionsOf(const Command& c) {
  std::vector<std::string> out;
  const std::string usage = c.usage;
  for (size_t i = 0; i < usage.size(); ++i) {
    if (usage[i] != '-' || (i > 0 && usage[i - 1] != ' ' && usage[i - 1] != '[' && usage[i - 1] != '|')) continue;
    size_t end = i;
    while (end < usage.size() && (std::isalnum(static_cast<unsigned char>(usage[end])) || usage[end] == '-')) ++end;
    std::string word = usage.substr(i, end - i);
    if (word.size() > 1 && std::find(out.begin(), out.end(), word) == out.end()) out.push_back(word);
    i = end;
  }
  return out;
}

void PrintList() {
  std::printf("vane: the command-line host of the Vane Format Kernel\n\nusage: vane COMMAND [ARGS]\n\ncommands:\n");
  for (const Command& c : Commands()) {
    // Long usages get their summary on the next line, aligned with the rest.
    if (std::strlen(c.usage) <= 40)
      std::printf("  %-40s %s\n", c.usage, c.summary);
    else
      std::printf("  %s\n  %-40s %s\n", c.usage, "", c.summary);
  }
  std::printf("\nExit status: 0 on success, 1 on failure (with the status on standard error), 2 on wrong usage.\n");
  std::printf("'vane help COMMAND' tells one command.\n");
}

// troff text of the manual page, from the same command table.
void PrintManual() {
  std::printf(".TH VANE 1 \"\" \"Vane Format Kernel\" \"User Commands\"\n.SH NAME\nvane \\- command-line host of the Vane Format Kernel\n");
  std::printf(".SH SYNOPSIS\n.B vane\n.I COMMAND\n[ARGS]\n.SH DESCRIPTION\n");
  std::printf("vane opens, probes, decodes, converts, repairs and edits media files through the Vane Format Kernel and its plug-ins, as a host application does.\n");
  std::printf("With \\fB--json\\fR a command writes one JSON document to standard output; without it, text for people.\n.SH COMMANDS\n");
  for (const Command& c : Commands()) {
    std::string usage = c.usage;
    std::string escaped;
    for (char ch : usage) escaped += ch == '-' ? std::string("\\-") : std::string(1, ch);
    std::printf(".TP\n.B vane %s\n%s\n", escaped.c_str(), c.summary);
  }
  std::printf(".SH EXIT STATUS\n0 on success; 1 on failure, with \\fB0xXXXXXXXX: text\\fR on standard error; 2 on wrong usage.\n");
  std::printf(".SH ENVIRONMENT\n.TP\n.B VANE_PLUGIN_PATH\nfolders searched for plug-in configuration files, besides the kernel's own.\n");
}

// A bash completion script: commands, then the options of the command.
void PrintCompletion() {
  std::printf("# bash completion for vane\n_vane() {\n  local cur=${COMP_WORDS[COMP_CWORD]}\n");
  std::printf("  if [ \"$COMP_CWORD\" -eq 1 ]; then\n    COMPREPLY=( $(compgen -W \"");
  for (const Command& c : Commands()) std::printf("%s ", c.name);
  std::printf("\" -- \"$cur\") )\n    return\n  fi\n  case \"${COMP_WORDS[1]}\" in\n");
  for (const Command& c : Commands()) {
    std::string words;
    for (const std::string& o : OptionsOf(c)) words += o + " ";
    if (c.name == std::string("help"))
      for (const Command& other : Commands()) words += std::string(other.name) + " ";
    std::printf("    %s) COMPREPLY=( $(compgen -W \"%s\" -- \"$cur\") $(compgen -f -- \"$cur\") ) ;;\n", c.name, words.c_str());
  }
  std::printf("  esac\n}\ncomplete -F _vane vane\n");
}

int Help(Args& args) {
  if (args.Flag("--man")) {
    PrintManual();
    return kExitOk;
  }
  if (args.Flag("--bash-completion")) {
    PrintCompletion();
    return kExitOk;
  }
  const std::vector<std::string> words = args.Positional();
  if (words.empty()) {
    PrintList();
    return kExitOk;
  }
  const Command* c = Find(words[0]);
  if (!c) {
    std::fprintf(stderr, "vane: unknown command '%s' (try 'vane help')\n", words[0].c_str());
    return kExitUsage;
  }
  std::printf("usage: vane %s\n\n%s\n", c->usage, c->summary);
  const std::vector<std::string> options = OptionsOf(*c);
  if (!options.empty()) {
    std::printf("\noptions:");
    for (const std::string& o : options) std::printf(" %s", o.c_str());
    std::printf("\n");
  }
  std::printf("\nExit status: 0 on success, 1 on failure (with the status on standard error), 2 on wrong usage.\n");
  return kExitOk;
}

const Registrar kHelp({"help", "help [COMMAND] [--man] [--bash-completion]", "the command list, one command's usage, the manual page or the completion script", &Help});

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    PrintList();
    return kExitUsage;
  }
  std::string name = argv[1];
  if (name == "--help" || name == "-h") name = "help";
  for (const Command& c : Commands()) {
    if (name == c.name) {
      Args args(std::vector<std::string>(argv + 2, argv + argc));
      return c.run(args);
    }
  }
  std::fprintf(stderr, "vane: unknown command '%s' (try 'vane help')\n", name.c_str());
  return kExitUsage;
}
