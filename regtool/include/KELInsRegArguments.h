// The command line of KELReg, parsed and checked.
#ifndef KELInsRegArguments_H
#define KELInsRegArguments_H

#include <optional>
#include <string>
#include <vector>

struct KELInsRegArguments {
  bool m_Help = false;
  bool m_Version = false;
  std::optional<std::string> m_Root;
  std::string m_Command;  // query, add, delete, copy, export or import
  std::vector<std::string> m_Operands;
  std::optional<std::string> m_Value;      // -v
  std::optional<std::string> m_Type;       // -t
  std::optional<std::string> m_Data;       // -d
  std::optional<std::string> m_Separator;  // -S
  bool m_Subkeys = false;                  // -s
  bool m_Recurse = false;                  // -r
  bool m_AllValues = false;                // --all-values
};

// Parses iArgv[1..]; on a usage error returns nothing with the message (without "KELReg: ") in
// oWhy. --help and --version win over every other argument.
std::optional<KELInsRegArguments> KELInsRegParseArguments(int iArgc, const char* const* iArgv,
                                                          std::string& oWhy);

#endif
