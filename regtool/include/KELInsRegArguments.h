// The command line of KELReg, parsed and checked.
#ifndef KELInsRegArguments_H
#define KELInsRegArguments_H

#include <optional>
#include <string>
#include <vector>

// One "-v NAME [-t TYPE] -d DATA [-S SEP]" group of add.
struct KELInsRegValueArguments {
  std::string m_Value;
  std::optional<std::string> m_Type, m_Data, m_Separator;
};

struct KELInsRegArguments {
  bool m_Help = false;
  bool m_Version = false;
  std::optional<std::string> m_Root;
  std::string m_Command;  // query, find, add, delete, copy, export, import, check or recover
  std::vector<std::string> m_Operands;
  std::optional<std::string> m_Value;             // -v
  std::optional<std::string> m_Type;              // -t
  std::optional<std::string> m_Data;              // -d
  std::optional<std::string> m_Separator;         // -S
  bool m_Subkeys = false;                         // -s
  bool m_Recurse = false;                         // -r
  bool m_AllValues = false;                       // --all-values
  bool m_Prune = false;                           // delete --prune
  bool m_DryRun = false;                          // import --dry-run
  bool m_Keys = false, m_Values = false;          // find --keys, --values
  bool m_DataOnly = false;                        // find --data
  bool m_Repair = false;                          // --repair
  bool m_Json = false;                            // --json
  std::vector<KELInsRegValueArguments> m_Groups;  // add: each -v with the -t, -d and -S after it
};

// Parses iArgv[1..]; on a usage error returns nothing with the message (without "KELReg: ") in
// oWhy. --help and --version win over every other argument.
std::optional<KELInsRegArguments> KELInsRegParseArguments(int iArgc, const char* const* iArgv,
                                                          std::string& oWhy);

#endif
