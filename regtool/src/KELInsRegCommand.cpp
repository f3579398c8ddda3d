#include "KELInsRegCommand.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <sstream>
#include <utility>

#include "KELInsFileSystem.h"
#include "KELInsRegArguments.h"
#include "KELInsRegChange.h"
#include "KELInsRegCheck.h"
#include "KELInsRegDocument.h"
#include "KELInsRegInput.h"
#include "KELInsRegKey.h"
#include "KELInsRegReport.h"
#include "KELInsRegText.h"
#include "KELInsRegTree.h"
#include "KELVersion.h"
#include "MORStringWarning.h"

namespace {

using H = KELInsRegKey;

constexpr const char* k_Usage =
    "Usage: KELReg [--root DIR] query  KEY [-v NAME] [-s]\n"
    "       KELReg [--root DIR] find   KEY PATTERN [--keys | --values | --data]\n"
    "       KELReg [--root DIR] add    KEY [-v NAME [-t TYPE] -d DATA [-S SEP]]...\n"
    "       KELReg [--root DIR] delete KEY [-v NAME | --all-values] [-r] [--prune]\n"
    "       KELReg [--root DIR] copy   SRC DST [-s]\n"
    "       KELReg [--root DIR] export KEY [FILE]\n"
    "       KELReg [--root DIR] import [FILE] [--dry-run]\n"
    "       KELReg [--root DIR] check  [KEY] [--repair] [--json]\n"
    "       KELReg [--root DIR] recover\n"
    "       KELReg --help | --version\n"
    "Queries and changes the emulated registry.\n"
    "\n"
    "KEY is a hive, HKLM, HKCU or HKCR (or HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT),\n"
    "then a key path whose components are separated by '\\' or '/': HKLM\\SOFTWARE\\Quorvane\\Q4.\n"
    "\n"
    "  query KEY        print the key, its values and its subkeys; -s: and all keys below it\n"
    "  query KEY -v N   print only the data of value N\n"
    "                   (control characters in data are shown escaped: \\n, \\t, \\u001b)\n"
    "  find KEY PAT     print the keys below KEY whose name matches the shell pattern PAT, and the\n"
    "                   values whose name or string data matches it\n"
    "  add KEY          create the key and its missing parents; with -v, set the value (several -v\n"
    "                   groups set several values at once)\n"
    "  delete KEY       delete a key without subkeys; -r: with its subkeys;\n"
    "                   -v N: the value N only; --all-values: every value; --prune: and the\n"
    "                   parents it leaves empty, up to the first that holds something\n"
    "  copy SRC DST     copy the values of SRC into DST; -s: and the subkeys\n"
    "  export KEY [F]   write the key and all below it as a JSON document to F (default or -: standard\n"
    "                   output); a regular F is replaced at once, anything else is written to\n"
    "  import [F]       merge a JSON document of export, at most 64 MiB, into the registry\n"
    "                   (default or -: standard input); --dry-run: print what it would change\n"
    "  check [KEY]      report damaged and half-made keys, interrupted changes, installations\n"
    "                   without a path or whose path is missing; --repair: repair what it can\n"
    "  recover          finish or roll back changes that were interrupted\n"
    "\n"
    "Every change is made all at once: after a crash it is there whole or not at all.\n"
    "\n"
    "Options:\n"
    "  --root DIR      work on the registry whose hives are DIR/HKLM, DIR/HKCR and DIR/HKCU\n"
    "  -v NAME         the value NAME\n"
    "  -t TYPE         REG_SZ (the default), REG_DWORD, REG_QWORD or REG_MULTI_SZ\n"
    "  -d DATA         the data; numbers in decimal or 0x hexadecimal\n"
    "  -S SEP          what separates REG_MULTI_SZ items in DATA (default: the two characters \\0)\n"
    "  -h, --help      show this help\n"
    "  --version       show the version\n"
    "\n"
    "  --keys, --values, --data\n"
    "                  find: match only key names, value names or string data\n"
    "  --repair        check: finish interrupted changes, complete half-made keys, move damaged key\n"
    "                  files into the quarantine\n"
    "  --json          check: one JSON document\n"
    "\n"
    "Exit status: 0 done (check: no problem), 1 the operation failed (check: problems found), 2 usage\n"
    "error.\n";

// A failure to report: its line (without "KELReg: ") and the exit status.
struct Failure {
  std::string m_Text;
  int m_Status = KELInsRegFailed;
};

[[noreturn]] void Usage(const std::string& iText) { throw Failure{iText, KELInsRegUsageError}; }
[[noreturn]] void Fail(const std::string& iText) { throw Failure{iText, KELInsRegFailed}; }

KELInsRegKeyName Name(const std::string& iText) {
  std::string l_Why;
  std::optional<KELInsRegKeyName> l_Name = KELInsRegKeyName::Parse(iText, l_Why);
  if (!l_Name) Usage("bad key '" + iText + "': " + l_Why);
  return *l_Name;
}

// Refuses, before anything is written, a key (or a key below it) that the registry's files cannot hold.
void CheckStorable(const KELInsRegKeyName& iName, const KELInsRegTree& iTree) {
  std::string l_Why;
  if (!iName.CanStore(iTree, l_Why)) Fail(l_Why);
}

// Runs iWork, turning a failure of the registry into a line that names iKey.
template <class F>
auto OnKey(const std::string& iKey, const char* iFallback, F&& iWork) {
  try {
    return iWork();
  } catch (const KELInsRegTreeError& l_Error) {
    Fail(l_Error.m_Text);
  } catch (const Failure&) {
    throw;
  } catch (const std::exception& l_Error) {
    Fail(KELInsRegDescribe(iKey, l_Error, iFallback));
  }
}

// ---- Data given on the command line.

uint32_t ParseType(const std::string& iText) {
  static const char* const k_Names[] = {"REG_DWORD", "REG_QWORD", "REG_SZ", "REG_MULTI_SZ"};
  for (uint32_t l_Type = H::TypeDWORD; l_Type <= H::TypeMultiString; ++l_Type) {
    const char* l_Name = k_Names[l_Type - 1];
    bool l_Same = iText.size() == std::strlen(l_Name);
    for (size_t l_At = 0; l_Same && l_At < iText.size(); ++l_At)
      l_Same = std::toupper(static_cast<unsigned char>(iText[l_At])) == l_Name[l_At];
    if (l_Same || iText == std::to_string(l_Type)) return l_Type;
  }
  Usage("unknown type '" + iText + "' (REG_SZ, REG_DWORD, REG_QWORD or REG_MULTI_SZ)");
}

uint64_t ParseNumber(const std::string& iText, uint64_t iMax, const char* iType) {
  std::string_view l_Digits = iText;
  int l_Base = 10;
  if (l_Digits.starts_with("0x") || l_Digits.starts_with("0X")) l_Digits.remove_prefix(2), l_Base = 16;
  uint64_t l_Value = 0;
  auto [l_End, l_Error] =
      std::from_chars(l_Digits.data(), l_Digits.data() + l_Digits.size(), l_Value, l_Base);
  bool l_Whole = !l_Digits.empty() && l_End == l_Digits.data() + l_Digits.size() && l_Digits[0] != '+';
  if (!iText.empty() && iText[0] == '-') Usage(std::string(iType) + " data '" + iText + "' is negative");
  if (!l_Whole && l_Error != std::errc::result_out_of_range)
    Usage(std::string(iType) + " data '" + iText + "' is not a number (decimal or 0x hexadecimal)");
  if (l_Error == std::errc::result_out_of_range || l_Value > iMax)
    Usage(std::string(iType) + " data '" + iText + "' is out of range (at most " + std::to_string(iMax) +
          ")");
  return l_Value;
}

std::vector<std::string> Split(const std::string& iText, const std::string& iSeparator) {
  std::vector<std::string> l_Items;
  if (iText.empty()) return l_Items;
  for (size_t l_Start = 0;;) {
    size_t l_End = iText.find(iSeparator, l_Start);
    l_Items.push_back(iText.substr(l_Start, l_End == std::string::npos ? l_End : l_End - l_Start));
    if (l_End == std::string::npos) return l_Items;
    l_Start = l_End + iSeparator.size();
  }
}

KELInsRegValue ValueOf(const KELInsRegValueArguments& iArgs) {
  KELInsRegValue l_Value;
  l_Value.m_Name = iArgs.m_Value;
  if (l_Value.m_Name.size() > KELInsRegMaxValueName)
    Usage("value name longer than " + std::to_string(KELInsRegMaxValueName) + " bytes");
  l_Value.m_Type = iArgs.m_Type ? ParseType(*iArgs.m_Type) : H::TypeString;
  if (iArgs.m_Separator && l_Value.m_Type != H::TypeMultiString) Usage("-S is for REG_MULTI_SZ data only");
  if (iArgs.m_Separator && iArgs.m_Separator->empty()) Usage("-S needs a separator that is not empty");
  const std::string& l_Data = *iArgs.m_Data;
  if (l_Data.size() > KELInsRegMaxData)
    Usage("data longer than " + std::to_string(KELInsRegMaxData) + " bytes");
  if (l_Value.m_Type == H::TypeDWORD)
    l_Value.m_Number = ParseNumber(l_Data, std::numeric_limits<uint32_t>::max(), "REG_DWORD");
  else if (l_Value.m_Type == H::TypeQWORD)
    l_Value.m_Number = ParseNumber(l_Data, std::numeric_limits<uint64_t>::max(), "REG_QWORD");
  else if (l_Value.m_Type == H::TypeString)
    l_Value.m_Strings = {l_Data};
  else
    l_Value.m_Strings = Split(l_Data, iArgs.m_Separator.value_or("\\0"));
  return l_Value;
}

// ---- Output.

// The key's block: its name, then a line per value.
void AppendBlock(std::string& ioOut, const KELInsRegKeyName& iName,
                 const std::vector<KELInsRegValue>& iValues) {
  ioOut += iName.Full() + '\n';
  for (const KELInsRegValue& l_Value : iValues) {
    ioOut += "    ";
    KELInsRegAppendValueLine(ioOut, l_Value);
    ioOut += '\n';
  }
}

// query -s: the blocks of the keys it is handed, a blank line between two.
class BlockWriter final : public KELInsRegVisitor {
 public:
  explicit BlockWriter(std::string& oText) : m_Text(oText) {}
  void Enter(const KELInsRegKeyName& iName, size_t iLevel,
             const std::vector<KELInsRegValue>& iValues) override {
    if (iLevel > 0) m_Text += '\n';
    AppendBlock(m_Text, iName, iValues);
  }
  void Leave(size_t) override {}

 private:
  std::string& m_Text;
};

void Write(std::ostream& oOut, const std::string& iText) {
  errno = 0;
  oOut.write(iText.data(), std::streamsize(iText.size()));
  oOut.flush();
  if (!oOut) Fail(std::string("standard output: ") + (errno ? std::strerror(errno) : "write failed"));
}

// Writes iText all through iFd; 0 or the errno of the failure.
int WriteAll(int iFd, const std::string& iText) {
  for (size_t l_Done = 0; l_Done < iText.size();) {
    ssize_t l_Written = write(iFd, iText.data() + l_Done, iText.size() - l_Done);
    if (l_Written < 0 && errno != EINTR) return errno;
    if (l_Written > 0) l_Done += size_t(l_Written);
  }
  return 0;
}

// Where export and query -s write, piece by piece as the keys are read: standard output (path "-")
// or the file iPath, opened when there is first something to write. A new or regular file is
// replaced: written beside it under a temporary name, synced, renamed over it and its folder synced
// (Finish), so that readers see the old file or the new one and a crash leaves one of them; until
// then a failure removes the temporary file and leaves the old one. Anything else that exists there
// (a device, a FIFO, a link) is written to, never replaced; a folder fails to open, with EISDIR.
class Output {
 public:
  Output(std::ostream& oOut, std::string iPath) : m_Stream(oOut), m_Path(std::move(iPath)) {}
  ~Output() {
    if (m_Fd >= 0) close(m_Fd);
    if (!m_Temp.empty()) unlink(m_Temp.c_str());
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // Where the text goes until it is written.
  std::string& Text() { return m_Text; }
  // Writes the text once there is enough of it.
  void Pass() {
    if (m_Text.size() >= 65536) WriteText();
  }
  // Writes the rest, and puts a replaced file in place.
  void Finish() {
    WriteText();
    if (!m_Temp.empty())
      Replace();
    else if (m_Fd >= 0 && close(std::exchange(m_Fd, -1)) != 0)
      Fail(m_Path + ": " + std::strerror(errno));
  }
  // After a failure: what was made is written as it would have been (a replaced file is not), as
  // far as it can be.
  void Abandon() noexcept {
    try {
      if (!m_Failed && m_Temp.empty() && !m_Text.empty()) WriteText();
    } catch (const Failure&) {
    }
  }

 private:
  void WriteText() {
    m_Failed = true;  // until the text is written
    if (m_Path == "-") {
      Write(m_Stream, m_Text);
    } else {
      if (m_Fd < 0) Open();
      if (int l_Error = WriteAll(m_Fd, m_Text)) Fail(m_Path + ": " + std::strerror(l_Error));
    }
    m_Text.clear();
    m_Failed = false;
  }
  void Open() {
    struct stat l_Old;
    bool l_Exists = lstat(m_Path.c_str(), &l_Old) == 0;
    if (!l_Exists && errno != ENOENT) Fail(m_Path + ": " + std::strerror(errno));
    if (l_Exists && !S_ISREG(l_Old.st_mode)) {
      m_Fd = open(m_Path.c_str(), O_WRONLY | O_TRUNC | O_NOCTTY | O_CLOEXEC);
      if (m_Fd < 0) Fail(m_Path + ": " + std::strerror(errno));
      return;
    }
    size_t l_Slash = m_Path.rfind('/');
    std::string l_Temp = (l_Slash == std::string::npos ? std::string() : m_Path.substr(0, l_Slash + 1)) +
                         "." + m_Path.substr(l_Slash == std::string::npos ? 0 : l_Slash + 1) + ".XXXXXX";
    m_Fd = mkstemp(l_Temp.data());
    if (m_Fd < 0) Fail(m_Path + ": " + std::strerror(errno));
    m_Temp = l_Temp;
    mode_t l_Mask = umask(0);
    umask(l_Mask);
    if (fchmod(m_Fd, l_Exists ? (l_Old.st_mode & 07777) : (0666 & ~l_Mask)) != 0)
      Fail(m_Path + ": " + std::strerror(errno));
  }
  void Replace() {
    int l_Error = fsync(m_Fd) == 0 ? 0 : errno;
    if (close(std::exchange(m_Fd, -1)) != 0 && l_Error == 0) l_Error = errno;
    if (l_Error == 0 && rename(m_Temp.c_str(), m_Path.c_str()) != 0) l_Error = errno;
    if (l_Error != 0) Fail(m_Path + ": " + std::strerror(l_Error));
    m_Temp.clear();
    size_t l_Slash = m_Path.rfind('/');
    std::string l_Folder = l_Slash == std::string::npos ? "."
                           : l_Slash == 0               ? "/"
                                                        : m_Path.substr(0, l_Slash);
    int l_Dir = open(l_Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (l_Dir < 0 || fsync(l_Dir) != 0) l_Error = errno;
    if (l_Dir >= 0) close(l_Dir);
    if (l_Error != 0) Fail(l_Folder + ": " + std::strerror(l_Error));
  }

  std::ostream& m_Stream;
  std::string m_Path, m_Temp;  // m_Temp: the temporary file while it is there
  int m_Fd = -1;
  bool m_Failed = false;  // a write failed
  std::string m_Text;
};

// Hands each key to iWriter, and the text it made to the output once there is enough of it.
class Passing final : public KELInsRegVisitor {
 public:
  Passing(KELInsRegVisitor& ioWriter, Output& ioOut) : m_Writer(ioWriter), m_Out(ioOut) {}
  void Enter(const KELInsRegKeyName& iName, size_t iLevel,
             const std::vector<KELInsRegValue>& iValues) override {
    m_Writer.Enter(iName, iLevel, iValues);
    m_Out.Pass();
  }
  void Leave(size_t iLevel) override {
    m_Writer.Leave(iLevel);
    m_Out.Pass();
  }

 private:
  KELInsRegVisitor& m_Writer;
  Output& m_Out;
};

// Writes the key iName and all below it through ioWriter to ioOut as they are read. When a key
// cannot be read, the text of the keys before it is written all the same, and nothing after.
void Stream(const KELInsRegKeyName& iName, KELInsRegVisitor& ioWriter, Output& ioOut) {
  Passing l_Passing(ioWriter, ioOut);
  try {
    OnKey(iName.Full(), "no such key", [&] { KELInsRegWalkTree(iName, l_Passing); });
  } catch (const Failure&) {
    ioOut.Abandon();
    throw;
  }
  ioOut.Finish();
}

std::string ReadInput(const std::string& iFile, std::istream& iIn) {
  std::string l_Text, l_Why;
  if (!KELInsRegReadInput(iFile, iIn, KELInsRegMaxDocument, l_Text, l_Why)) Fail(l_Why);
  return l_Text;
}

// ---- Subcommands.

int Query(const KELInsRegArguments& iArgs, std::ostream& oOut) {
  KELInsRegKeyName l_Name = Name(iArgs.m_Operands[0]);
  std::string l_Text;
  if (iArgs.m_Value) {
    if (l_Name.IsHiveRoot()) Fail(l_Name.Full() + ": no value '" + *iArgs.m_Value + "'");
    OnKey(l_Name.Full(), "no such key", [&] {
      H l_Key = H::OpenKey(l_Name.m_Hive, l_Name.Path(), H::ReadOnly);
      KELInsRegCheckSound(l_Key, l_Name);
      bool l_Found = false;
      std::string l_Stored = KELInsRegFindValue(l_Key, *iArgs.m_Value, l_Found);
      if (!l_Found) Fail(l_Name.Full() + ": no value '" + *iArgs.m_Value + "'");
      KELInsRegValue l_Value;
      try {
        l_Value = KELInsRegReadValue(l_Key, l_Stored);
      } catch (const std::exception&) {
        Fail(l_Name.Full() + ": value '" + *iArgs.m_Value + "' is not a valid registry value");
      }
      KELInsRegAppendData(l_Text, l_Value, "\n");
      if (l_Value.m_Type != H::TypeMultiString || !l_Value.m_Strings.empty()) l_Text += '\n';
    });
  } else if (iArgs.m_Subkeys) {
    Output l_Out(oOut, "-");
    BlockWriter l_Writer(l_Out.Text());
    Stream(l_Name, l_Writer, l_Out);
    return KELInsRegDone;
  } else {
    KELInsRegTree l_Tree =
        OnKey(l_Name.Full(), "no such key", [&] { return KELInsRegReadTree(l_Name, false); });
    AppendBlock(l_Text, l_Name, l_Tree.m_Values);
    if (!l_Tree.m_Subkeys.empty()) l_Text += '\n';
    for (const auto& l_Subkey : l_Tree.m_Subkeys) l_Text += l_Name.Child(l_Subkey.m_Name).Full() + '\n';
  }
  Write(oOut, l_Text);
  return KELInsRegDone;
}

int Add(const KELInsRegArguments& iArgs) {
  KELInsRegKeyName l_Name = Name(iArgs.m_Operands[0]);
  if (l_Name.IsHiveRoot()) Usage(l_Name.Full() + ": add needs a key below the hive");
  KELInsRegTree l_Tree;
  for (const KELInsRegValueArguments& l_Group : iArgs.m_Groups) l_Tree.m_Values.push_back(ValueOf(l_Group));
  CheckStorable(l_Name, l_Tree);
  OnKey(l_Name.Full(), "cannot write the key", [&] { KELInsRegWriteTree(l_Name, l_Tree); });
  return KELInsRegDone;
}

// Whether the folder of the key iKey holds exactly the subkey iChild's file and folder ("": nothing).
bool HoldsOnly(const KELInsRegKey& iKey, const std::string& iChild) {
  std::string l_Folder = iKey.FilePath();
  l_Folder.resize(l_Folder.size() - 5);  // without ".json"
  size_t l_Count = 0;
  for (KELInsDirListing l_Entry = KELInsFileSystem::FindFirstFile(l_Folder, KELInsDirListing::SelectAll);
       !l_Entry.IsEnd(); l_Entry.Next(), ++l_Count) {
    const std::string& l_Name = l_Entry.GetName();
    if (iChild.empty() || (l_Name != iChild && l_Name != iChild + ".json")) return false;
  }
  return l_Count == (iChild.empty() ? 0 : 2);
}

// The key that delete --prune removes for iName: iName, or its highest parent below the hive that the
// deletion leaves with no values and no subkeys, every parent between them as empty.
KELInsRegKeyName PruneTop(const KELInsRegKeyName& iName) {
  KELInsRegKeyName l_Top = iName;
  while (l_Top.m_Components.size() > 1) {
    KELInsRegKeyName l_Parent = l_Top;
    l_Parent.m_Components.pop_back();
    H l_Key = H::OpenKey(l_Parent.m_Hive, l_Parent.Path(), H::ReadOnly);
    std::vector<std::string> l_Values;
    if (l_Key.Damage().empty()) l_Key.GetValues(l_Values);
    if (!l_Key.Damage().empty() || !l_Values.empty() || !HoldsOnly(l_Key, l_Top.m_Components.back())) break;
    l_Top = std::move(l_Parent);
  }
  return l_Top;
}

int Delete(const KELInsRegArguments& iArgs) {
  KELInsRegKeyName l_Name = Name(iArgs.m_Operands[0]);
  bool l_Values = iArgs.m_Value || iArgs.m_AllValues;
  if (l_Name.IsHiveRoot())
    Usage(l_Name.Full() + (l_Values ? ": a hive root holds no values" : ": a hive root cannot be deleted"));
  const std::string l_Full = l_Name.Full();
  if (l_Values) {
    OnKey(l_Full, "no such key", [&] {
      KELInsRegChange l_Change = KELInsRegBeginChange(l_Name);
      H* l_Opened = l_Change.OpenKey(l_Name.Path(), false);
      if (!l_Opened) Fail(l_Full + ": no such key");
      H& l_Key = *l_Opened;
      std::vector<std::string> l_Stored;
      if (iArgs.m_AllValues) {
        l_Key.GetValues(l_Stored);
      } else {
        bool l_Found = false;
        l_Stored.push_back(KELInsRegFindValue(l_Key, *iArgs.m_Value, l_Found));
        if (!l_Found) Fail(l_Full + ": no value '" + *iArgs.m_Value + "'");
      }
      for (const std::string& l_Value : l_Stored) l_Key.DeleteValue(l_Value);
      KELInsRegCommitChange(l_Change, l_Name);
    });
    return KELInsRegDone;
  }
  OnKey(l_Full, "no such key", [&] {
    std::vector<std::string> l_Subkeys;
    H::OpenKey(l_Name.m_Hive, l_Name.Path(), H::ReadOnly).GetSubkeys(l_Subkeys);
    if (!l_Subkeys.empty() && !iArgs.m_Recurse) Fail(l_Full + ": the key has subkeys (-r deletes them too)");
  });
  OnKey(l_Full, "cannot delete the key", [&] {
    KELInsRegChange l_Change = KELInsRegBeginChange(l_Name);
    // One removal, of the highest key that goes: a key that holds anything is the change's to refuse.
    KELInsRegKeyName l_Top = iArgs.m_Prune ? PruneTop(l_Name) : l_Name;
    if (l_Top.m_Components.size() < l_Name.m_Components.size() && !iArgs.m_Recurse &&
        !HoldsOnly(H::OpenKey(l_Name.m_Hive, l_Name.Path(), H::ReadOnly), ""))
      l_Top = l_Name;
    bool l_Whole = l_Top.m_Components.size() < l_Name.m_Components.size() || iArgs.m_Recurse;
    if (!l_Change.RemoveKey(l_Top.Path(), l_Whole)) Fail(l_Full + ": no such key");
    KELInsRegCommitChange(l_Change, l_Name);
  });
  return KELInsRegDone;
}

int Copy(const KELInsRegArguments& iArgs) {
  KELInsRegKeyName l_Source = Name(iArgs.m_Operands[0]);
  KELInsRegKeyName l_Target = Name(iArgs.m_Operands[1]);
  // The whole source is read before anything is written, so a copy into its own subtree ends.
  KELInsRegTree l_Tree =
      OnKey(l_Source.Full(), "no such key", [&] { return KELInsRegReadTree(l_Source, iArgs.m_Subkeys); });
  if (!iArgs.m_Subkeys) l_Tree.m_Subkeys.clear();
  if (l_Target.IsHiveRoot() && !l_Tree.m_Values.empty())
    Usage(l_Target.Full() + ": a hive root holds no values");
  CheckStorable(l_Target, l_Tree);
  OnKey(l_Target.Full(), "cannot write the key", [&] { KELInsRegWriteTree(l_Target, l_Tree); });
  return KELInsRegDone;
}

int Export(const KELInsRegArguments& iArgs, std::ostream& oOut) {
  KELInsRegKeyName l_Name = Name(iArgs.m_Operands[0]);
  Output l_Out(oOut, iArgs.m_Operands.size() > 1 ? iArgs.m_Operands[1] : "-");
  KELInsRegDocumentWriter l_Writer(l_Out.Text());
  Stream(l_Name, l_Writer, l_Out);
  return KELInsRegDone;
}

int Import(const KELInsRegArguments& iArgs, std::istream& iIn, std::ostream& oOut) {
  std::string l_File = iArgs.m_Operands.empty() ? "-" : iArgs.m_Operands[0];
  std::string l_Text = ReadInput(l_File, iIn);
  KELInsRegKeyName l_Name;
  KELInsRegTree l_Tree;
  try {
    KELInsRegParseDocument(l_Text, l_Name, l_Tree);
  } catch (const KELInsRegDocumentError& l_Error) {
    Fail((l_File == "-" ? std::string("standard input") : l_File) + ":" + l_Error.Where(l_Text) + ": " +
         l_Error.m_What);
  }
  CheckStorable(l_Name, l_Tree);
  if (iArgs.m_DryRun) {
    Write(oOut,
          OnKey(l_Name.Full(), "cannot read the key", [&] { return KELInsRegPreviewMerge(l_Name, l_Tree); }));
    return KELInsRegDone;
  }
  OnKey(l_Name.Full(), "cannot write the key", [&] { KELInsRegWriteTree(l_Name, l_Tree); });
  return KELInsRegDone;
}

int Find(const KELInsRegArguments& iArgs, std::ostream& oOut) {
  KELInsRegKeyName l_Name = Name(iArgs.m_Operands[0]);
  KELInsRegTree l_Tree = OnKey(l_Name.Full(), "no such key", [&] { return KELInsRegReadTree(l_Name, true); });
  KELInsRegFindIn l_In = iArgs.m_Keys       ? KELInsRegFindIn::Keys
                         : iArgs.m_Values   ? KELInsRegFindIn::Values
                         : iArgs.m_DataOnly ? KELInsRegFindIn::Data
                                            : KELInsRegFindIn::Everything;
  Write(oOut, KELInsRegFind(l_Name, l_Tree, iArgs.m_Operands[1], l_In));
  return KELInsRegDone;
}

int Check(const KELInsRegArguments& iArgs, std::ostream& oOut, std::ostream& oErr) {
  std::optional<KELInsRegKeyName> l_Key;
  if (!iArgs.m_Operands.empty()) l_Key = Name(iArgs.m_Operands[0]);
  std::ostringstream l_Text;
  int l_Status = KELInsRegCheck(l_Key, iArgs.m_Repair, iArgs.m_Json, l_Text, oErr);
  Write(oOut, l_Text.str());
  return l_Status;
}

int Recover(std::ostream& oOut) {
  std::ostringstream l_Text;
  int l_Status = KELInsRegRecover(l_Text);
  Write(oOut, l_Text.str());
  return l_Status;
}

int Run(const KELInsRegArguments& iArgs, std::istream& iIn, std::ostream& oOut, std::ostream& oErr) {
  if (iArgs.m_Root) {
    struct stat l_Stat;
    if (stat(iArgs.m_Root->c_str(), &l_Stat) != 0) Fail(*iArgs.m_Root + ": " + std::strerror(errno));
    if (!S_ISDIR(l_Stat.st_mode)) Fail(*iArgs.m_Root + ": " + std::strerror(ENOTDIR));
    H::SetRegistryRoot(*iArgs.m_Root);
  }
  const std::string& l_Command = iArgs.m_Command;
  if (l_Command == "query") return Query(iArgs, oOut);
  if (l_Command == "add") return Add(iArgs);
  if (l_Command == "delete") return Delete(iArgs);
  if (l_Command == "copy") return Copy(iArgs);
  if (l_Command == "export") return Export(iArgs, oOut);
  if (l_Command == "check") return Check(iArgs, oOut, oErr);
  if (l_Command == "recover") return Recover(oOut);
  if (l_Command == "find") return Find(iArgs, oOut);
  return Import(iArgs, iIn, oOut);
}

// An error line: control bytes in the names it quotes are shown as escapes, so it stays one line.
void Report(std::ostream& oErr, const std::string& iText) {
  oErr << "KELReg: " << KELInsRegEscapeControls(iText) << '\n';
}

}  // namespace

void KELInsRegWriteUsage(std::ostream& oOut) { oOut << k_Usage; }

void KELInsRegUseByteText() {
  setenv("LANG", "C.UTF-8", 1);
  // A supported-languages file would be asked to validate that LANG and might choose another code
  // set: KELReg shows no translated text, so it looks for none.
  for (const char* l_Name : {"MORReffilesPath", "MORInstallPath", "KELSysNLSInstallPath"}) unsetenv(l_Name);
}

int KELInsRegCommand(int iArgc, const char* const* iArgv, std::istream& iIn, std::ostream& oOut,
                     std::ostream& oErr) {
  MORStringWarning::SetProcessActive(false);
  std::string l_Why;
  std::optional<KELInsRegArguments> l_Args = KELInsRegParseArguments(iArgc, iArgv, l_Why);
  if (!l_Args) {
    Report(oErr, l_Why);
    return KELInsRegUsageError;
  }
  if (l_Args->m_Help || l_Args->m_Version) {
    try {
      Write(oOut, l_Args->m_Help ? std::string(k_Usage) : std::string("KELReg " KEL_VERSION "\n"));
    } catch (const Failure& l_Failure) {
      Report(oErr, l_Failure.m_Text);
      return l_Failure.m_Status;
    }
    return KELInsRegDone;
  }
  KELInsRegKey::SetRegistryRoot(std::string());
  try {
    int l_Status = Run(*l_Args, iIn, oOut, oErr);
    KELInsRegKey::SetRegistryRoot(std::string());
    return l_Status;
  } catch (const Failure& l_Failure) {
    KELInsRegKey::SetRegistryRoot(std::string());
    Report(oErr, l_Failure.m_Text);
    return l_Failure.m_Status;
  } catch (const std::exception& l_Error) {
    KELInsRegKey::SetRegistryRoot(std::string());
    std::string l_Text = l_Error.what();
    while (!l_Text.empty() && l_Text.back() == '\n') l_Text.pop_back();
    Report(oErr, l_Text);
    return KELInsRegFailed;
  }
}
