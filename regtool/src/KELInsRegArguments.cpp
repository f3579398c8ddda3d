#include "KELInsRegArguments.h"

#include <algorithm>
#include <cstring>

namespace {

struct Option {
  const char* m_Name;
  std::optional<std::string> KELInsRegArguments::*m_Text;  // options with an argument
  bool KELInsRegArguments::*m_Flag;                        // flags
};

const Option k_Options[] = {{"--root", &KELInsRegArguments::m_Root, nullptr},
                            {"-v", &KELInsRegArguments::m_Value, nullptr},
                            {"-t", &KELInsRegArguments::m_Type, nullptr},
                            {"-d", &KELInsRegArguments::m_Data, nullptr},
                            {"-S", &KELInsRegArguments::m_Separator, nullptr},
                            {"-s", nullptr, &KELInsRegArguments::m_Subkeys},
                            {"-r", nullptr, &KELInsRegArguments::m_Recurse},
                            {"--all-values", nullptr, &KELInsRegArguments::m_AllValues},
                            {"--prune", nullptr, &KELInsRegArguments::m_Prune},
                            {"--dry-run", nullptr, &KELInsRegArguments::m_DryRun},
                            {"--keys", nullptr, &KELInsRegArguments::m_Keys},
                            {"--values", nullptr, &KELInsRegArguments::m_Values},
                            {"--data", nullptr, &KELInsRegArguments::m_DataOnly},
                            {"--repair", nullptr, &KELInsRegArguments::m_Repair},
                            {"--json", nullptr, &KELInsRegArguments::m_Json},
                            {"--help", nullptr, &KELInsRegArguments::m_Help},
                            {"-h", nullptr, &KELInsRegArguments::m_Help},
                            {"--version", nullptr, &KELInsRegArguments::m_Version}};

// Which options each subcommand takes, and how many operands.
struct Command {
  const char* m_Name;
  const char* m_Options;
  size_t m_MinOperands, m_MaxOperands;
};

const Command k_Commands[] = {{"query", " -v -s ", 1, 1},
                              {"add", " -v -t -d -S ", 1, 1},
                              {"delete", " -v --all-values -r --prune ", 1, 1},
                              {"copy", " -s ", 2, 2},
                              {"export", " ", 1, 2},
                              {"import", " --dry-run ", 0, 1},
                              {"find", " --keys --values --data ", 2, 2},
                              {"check", " --repair --json ", 0, 1},
                              {"recover", " ", 0, 0}};

bool Takes(const Command& iCommand, const char* iOption) {
  return std::strstr(iCommand.m_Options, (std::string(" ") + iOption + " ").c_str()) != nullptr;
}

// The rules between options of one subcommand; "" when they hold.
std::string Conflicts(const KELInsRegArguments& iArgs) {
  if (iArgs.m_Command == "query" && iArgs.m_Value && iArgs.m_Subkeys)
    return "-v and -s cannot be used together";
  if (iArgs.m_Command == "add")
    for (const KELInsRegValueArguments& l_Group : iArgs.m_Groups)
      if (!l_Group.m_Data) return "-v needs -d DATA";
  if (iArgs.m_Command == "delete") {
    if (iArgs.m_Value && iArgs.m_AllValues) return "-v and --all-values cannot be used together";
    if ((iArgs.m_Recurse || iArgs.m_Prune) && (iArgs.m_Value || iArgs.m_AllValues))
      return std::string(iArgs.m_Recurse ? "-r" : "--prune") + " deletes keys, not values";
  }
  if (iArgs.m_Command == "find" && iArgs.m_Keys + iArgs.m_Values + iArgs.m_DataOnly > 1)
    return "--keys, --values and --data cannot be used together";
  return "";
}

// An option given twice is an error, but add takes -v groups: each -v starts one, and the -t, -d and
// -S after it belong to it.
std::string Groups(KELInsRegArguments& ioArgs,
                   const std::vector<std::pair<const char*, std::string>>& iTexts) {
  const bool l_Add = ioArgs.m_Command == "add";
  std::vector<std::string> l_Seen;
  for (const auto& [l_Name, l_Value] : iTexts) {
    std::string_view l_Option = l_Name;
    if (l_Add && l_Option == "-v") {
      ioArgs.m_Groups.push_back({l_Value, {}, {}, {}});
      l_Seen.clear();
      continue;
    }
    if (l_Add && l_Option != "--root" && ioArgs.m_Groups.empty()) return "-t, -d and -S need -v";
    if (std::find(l_Seen.begin(), l_Seen.end(), l_Option) != l_Seen.end())
      return "option " + std::string(l_Option) + " given twice";
    l_Seen.emplace_back(l_Option);
    if (!l_Add || l_Option == "--root") continue;
    KELInsRegValueArguments& l_Group = ioArgs.m_Groups.back();
    (l_Option == "-t" ? l_Group.m_Type : l_Option == "-d" ? l_Group.m_Data : l_Group.m_Separator) = l_Value;
  }
  return "";
}

}  // namespace

std::optional<KELInsRegArguments> KELInsRegParseArguments(int iArgc, const char* const* iArgv,
                                                          std::string& oWhy) {
  KELInsRegArguments l_Args;
  std::vector<const char*> l_Given;  // options in the order given, checked once the command is known
  std::vector<std::pair<const char*, std::string>> l_Texts;  // and the arguments of those that take one
  bool l_OptionsEnded = false;
  oWhy.clear();
  for (int l_At = 1; l_At < iArgc; ++l_At) {
    std::string l_Arg = iArgv[l_At];
    if (l_OptionsEnded || l_Arg.size() < 2 || l_Arg[0] != '-') {
      if (l_Args.m_Command.empty())
        l_Args.m_Command = l_Arg;
      else
        l_Args.m_Operands.push_back(l_Arg);
      continue;
    }
    if (l_Arg == "--") {
      l_OptionsEnded = true;
      continue;
    }
    std::optional<std::string> l_Inline;
    if (l_Arg.starts_with("--root=")) l_Inline = l_Arg.substr(7), l_Arg = "--root";
    const Option* l_Option = std::find_if(std::begin(k_Options), std::end(k_Options),
                                          [&](const Option& iOption) { return l_Arg == iOption.m_Name; });
    if (l_Option == std::end(k_Options)) {
      if (oWhy.empty()) oWhy = "unknown option '" + l_Arg + "'";
      continue;
    }
    if (l_Option->m_Flag) {
      l_Args.*(l_Option->m_Flag) = true;
    } else {
      if (!l_Inline && l_At + 1 >= iArgc) {
        if (oWhy.empty()) oWhy = "option " + l_Arg + " needs an argument";
        continue;
      }
      std::optional<std::string>& l_Text = l_Args.*(l_Option->m_Text);
      std::string l_Value = l_Inline ? *l_Inline : std::string(iArgv[++l_At]);
      if (!l_Text) l_Text = l_Value;
      l_Texts.emplace_back(l_Option->m_Name, std::move(l_Value));
    }
    if (l_Arg != "--root") l_Given.push_back(l_Option->m_Name);
  }
  if (l_Args.m_Help || l_Args.m_Version) return l_Args;
  if (!oWhy.empty()) return std::nullopt;
  if (l_Args.m_Command.empty()) {
    oWhy = "no subcommand (query, find, add, delete, copy, export, import, check or recover)";
    return std::nullopt;
  }
  const Command* l_Command =
      std::find_if(std::begin(k_Commands), std::end(k_Commands),
                   [&](const Command& iCommand) { return l_Args.m_Command == iCommand.m_Name; });
  if (l_Command == std::end(k_Commands)) {
    oWhy = "unknown subcommand '" + l_Args.m_Command + "'";
    return std::nullopt;
  }
  for (const char* l_Option : l_Given)
    if (!Takes(*l_Command, l_Option)) {
      oWhy = l_Args.m_Command + " does not take " + l_Option;
      return std::nullopt;
    }
  oWhy = Groups(l_Args, l_Texts);
  if (!oWhy.empty()) return std::nullopt;
  size_t l_Count = l_Args.m_Operands.size();
  if (l_Count < l_Command->m_MinOperands || l_Count > l_Command->m_MaxOperands) {
    const char* l_Missing = l_Args.m_Command == "copy"   ? (l_Count ? "DST" : "SRC")
                            : l_Args.m_Command == "find" ? (l_Count ? "PATTERN" : "KEY")
                                                         : "KEY";
    oWhy = l_Count < l_Command->m_MinOperands ? l_Args.m_Command + ": missing " + l_Missing
                                              : l_Args.m_Command + ": unexpected argument '" +
                                                    l_Args.m_Operands[l_Command->m_MaxOperands] + "'";
    return std::nullopt;
  }
  oWhy = Conflicts(l_Args);
  if (!oWhy.empty()) return std::nullopt;
  return l_Args;
}
