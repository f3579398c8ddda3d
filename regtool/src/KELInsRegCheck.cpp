#include "KELInsRegCheck.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ostream>
#include <set>
#include <stdexcept>

#include "KELInsRegChange.h"
#include "KELInsRegKey.h"
#include "KELInsRegText.h"
#include "KELInsRegTree.h"

namespace {

using H = KELInsRegKey;

struct Problem {
  std::string m_Kind;    // damaged, half-made, interrupted, leftover, null-path, orphan
  std::string m_Key;     // the key concerned ("" for none)
  std::string m_File;    // the file or folder concerned ("" for none)
  std::string m_Detail;  // what is wrong
  std::string m_Repair;  // what --repair did ("" for nothing)
  // For the repair: the hive, and the path below the registry root.
  int32_t m_Hive = 0;
  std::string m_Below;
};

// Where the installations of the product sit (a key three levels below it) and of the common tree
// (one level below), in the local-machine hive.
const std::vector<std::string> k_Product = {"SOFTWARE", "Quorvane", "Q4"};
const std::vector<std::string> k_Common = {"SOFTWARE", "Quorvane", "Q4_Common"};

bool IsInstallation(const KELInsRegKeyName& iName) {
  if (iName.m_Hive != H::HiveLocalMachine) return false;
  const auto& l_Path = iName.m_Components;
  auto l_Below = [&](const std::vector<std::string>& iTree, size_t iDepth) {
    return l_Path.size() == iTree.size() + iDepth && std::equal(iTree.begin(), iTree.end(), l_Path.begin());
  };
  return l_Below(k_Product, 3) || l_Below(k_Common, 1);
}

class Walk {
 public:
  Walk(std::ostream& oProgress, bool iShowProgress) : m_Progress(oProgress), m_Show(iShowProgress) {}

  // Checks the key iName (its file already opened as iKey, or the hive root when iKey is null), whose
  // folder is iFolder, and everything below it.
  void Key(const KELInsRegKeyName& iName, const H* iKey, int iFolder, const std::string& iFolderPath,
           const std::string& iBelow) {
    Tick();
    if (iKey) Values(iName, *iKey, iBelow);
    DIR* l_Dir = fdopendir(iFolder);
    if (!l_Dir) {
      close(iFolder);
      throw std::runtime_error(iFolderPath + ": " + std::strerror(errno));
    }
    std::set<std::string> l_Files, l_Folders;
    while (dirent* l_Entry = readdir(l_Dir)) {
      std::string l_Name = l_Entry->d_name;
      if (l_Name == "." || l_Name == "..") continue;
      unsigned char l_Type = l_Entry->d_type;
      if (l_Type == DT_UNKNOWN) {
        struct stat l_Stat;
        if (fstatat(dirfd(l_Dir), l_Name.c_str(), &l_Stat, AT_SYMLINK_NOFOLLOW) == 0)
          l_Type = S_ISDIR(l_Stat.st_mode) ? DT_DIR : S_ISREG(l_Stat.st_mode) ? DT_REG : DT_LNK;
      }
      if (KELInsRegChange::IsChangeName(l_Name))
        Add({"leftover", "", iFolderPath + "/" + l_Name, "left by an interrupted change", "", iName.m_Hive,
             iBelow + "/" + l_Name});
      else if (l_Type == DT_DIR)
        l_Folders.insert(l_Name);
      else if (l_Name.size() > 5 && l_Name.ends_with(".json") && (l_Type == DT_REG || l_Type == DT_LNK))
        l_Files.insert(l_Name.substr(0, l_Name.size() - 5));
    }
    for (const std::string& l_Name : l_Files)
      if (!l_Folders.count(l_Name))
        Add({"half-made", iName.Child(l_Name).Full(), iFolderPath + "/" + l_Name + ".json",
             "key file without its folder (the key is not listed)", "", iName.m_Hive, iBelow + "/" + l_Name});
    for (const std::string& l_Name : l_Folders) {
      KELInsRegKeyName l_Child = iName.Child(l_Name);
      if (!l_Files.count(l_Name)) {
        // Its subkeys hide below it: the walk goes on through it.
        Add({"half-made", l_Child.Full(), iFolderPath + "/" + l_Name,
             "key folder without its key file (the key and its subkeys are not listed)", "", iName.m_Hive,
             iBelow + "/" + l_Name});
      }
      H l_Key;
      if (l_Files.count(l_Name)) {
        try {
          l_Key =
              iKey ? H::OpenKey(*iKey, l_Name, H::ReadOnly) : H::OpenKey(iName.m_Hive, l_Name, H::ReadOnly);
        } catch (const std::exception&) {
        }
      }
      int l_Sub = openat(dirfd(l_Dir), l_Name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      if (l_Sub < 0) continue;
      Key(l_Child, l_Key.IsOpen() ? &l_Key : nullptr, l_Sub, iFolderPath + "/" + l_Name,
          iBelow + "/" + l_Name);
    }
    closedir(l_Dir);
  }

  std::vector<Problem> m_Problems;

  void Add(Problem&& iProblem) { m_Problems.push_back(std::move(iProblem)); }
  void Done() {
    if (m_Shown) m_Progress << "\r\033[K" << std::flush;
  }

 private:
  void Values(const KELInsRegKeyName& iName, const H& iKey, const std::string& iBelow) {
    std::string l_Damage = iKey.Damage();
    if (!l_Damage.empty()) {
      Add({"damaged", iName.Full(), iKey.FilePath(), l_Damage, "", iName.m_Hive, iBelow});
      return;
    }
    if (!IsInstallation(iName)) return;
    std::string l_Path;
    if (!iKey.TryGetValue("Path", l_Path) || l_Path.empty()) {
      Add({"null-path", iName.Full(), iKey.FilePath(),
           "installation without a Path (listed with a null path)", "", iName.m_Hive, iBelow});
      return;
    }
    std::string l_Shown = KELInsRegShow(l_Path);
    struct stat l_Stat;
    if (stat(l_Shown.c_str(), &l_Stat) != 0 || !S_ISDIR(l_Stat.st_mode))
      Add({"orphan", iName.Full(), iKey.FilePath(),
           "installation whose Path " + l_Shown + " is not a folder here", "", iName.m_Hive, iBelow});
  }

  void Tick() {
    if (!m_Show || ++m_Keys % 1024 != 0) return;
    auto l_Now = std::chrono::steady_clock::now();
    if (l_Now - m_Last < std::chrono::milliseconds(250)) return;
    m_Last = l_Now;
    m_Shown = true;
    m_Progress << "\rKELReg check: " << m_Keys << " keys" << std::flush;
  }

  std::ostream& m_Progress;
  bool m_Show;
  bool m_Shown = false;
  size_t m_Keys = 0;
  std::chrono::steady_clock::time_point m_Last = std::chrono::steady_clock::now();
};

// The hives to walk: the one of iKey, or all three.
std::vector<int32_t> Hives(const std::optional<KELInsRegKeyName>& iKey) {
  if (iKey) return {iKey->m_Hive};
  return {H::HiveLocalMachine, H::HiveCurrentUser, H::HiveClassesRoot};
}

KELInsRegKeyName HiveName(int32_t iHive) {
  std::string l_Why;
  return *KELInsRegKeyName::Parse(iHive == H::HiveLocalMachine  ? "HKLM"
                                  : iHive == H::HiveCurrentUser ? "HKCU"
                                                                : "HKCR",
                                  l_Why);
}

void Interrupted(const std::optional<KELInsRegKeyName>& iKey, Walk& ioWalk) {
  std::set<std::string> l_Seen;
  for (int32_t l_Hive : Hives(iKey)) {
    std::string l_Journal;
    bool l_Committed = false;
    if (!KELInsRegChange::FindInterrupted(l_Hive, l_Journal, l_Committed) || !l_Seen.insert(l_Journal).second)
      continue;
    ioWalk.Add({"interrupted", "", l_Journal,
                l_Committed ? "a change was cut off after its commit point (it will be finished)"
                            : "a change was cut off before its commit point (it will be rolled back)",
                "", l_Hive, ""});
  }
}

void WalkKey(const KELInsRegKeyName& iName, Walk& ioWalk) {
  std::string l_Root, l_HiveFolder;
  if (!KELInsRegChange::HiveFolder(iName.m_Hive, l_Root, l_HiveFolder)) return;
  std::string l_Below = l_HiveFolder;
  for (const std::string& l_Part : iName.m_Components) l_Below += "/" + l_Part;
  const std::string l_Folder = (l_Root == "/" ? "" : l_Root) + "/" + l_Below;
  int l_Fd = open(l_Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (l_Fd < 0) {
    if (iName.IsHiveRoot() && errno == ENOENT) return;  // a hive without a folder holds nothing
    throw std::runtime_error(iName.Full() + ": no such key");
  }
  H l_Key;
  if (!iName.IsHiveRoot()) {
    try {
      l_Key = H::OpenKey(iName.m_Hive, iName.Path(), H::ReadOnly);
    } catch (const std::exception&) {
      close(l_Fd);
      throw std::runtime_error(iName.Full() + ": no such key");
    }
  }
  ioWalk.Key(iName, l_Key.IsOpen() ? &l_Key : nullptr, l_Fd, l_Folder, l_Below);
}

std::string Repair(Problem& ioProblem) {
  const std::string& l_Kind = ioProblem.m_Kind;
  if (l_Kind == "orphan" || l_Kind == "null-path") return "";
  KELInsRegChange l_Change(ioProblem.m_Hive);
  if (l_Kind == "interrupted") return l_Change.Recovered().empty() ? "already done" : l_Change.Recovered();
  if (l_Kind == "leftover") {
    l_Change.RemoveLeftover(ioProblem.m_Below);
    return "removed";
  }
  if (l_Kind == "damaged")
    return "moved to " + l_Change.Quarantine(ioProblem.m_Below) + ", a key without values in its place";
  // Half-made: the key made whole, its values kept.
  std::string l_Path = ioProblem.m_Below.substr(ioProblem.m_Below.find('/') + 1);
  std::replace(l_Path.begin(), l_Path.end(), '/', '\\');
  l_Change.OpenKey(l_Path, true);
  l_Change.Commit();
  return "completed";
}

void WriteText(const std::vector<Problem>& iProblems, std::ostream& oOut) {
  for (const Problem& l_Problem : iProblems) {
    std::string l_Line = l_Problem.m_Key.empty() ? l_Problem.m_File : l_Problem.m_Key;
    l_Line += ": " + l_Problem.m_Kind + ": " + l_Problem.m_Detail;
    if (!l_Problem.m_Key.empty() && l_Problem.m_Kind != "half-made") l_Line += " (" + l_Problem.m_File + ")";
    if (l_Problem.m_Kind == "half-made") l_Line += " (" + l_Problem.m_File + ")";
    if (!l_Problem.m_Repair.empty()) l_Line += "; repaired: " + l_Problem.m_Repair;
    for (char& l_Byte : l_Line)
      if (l_Byte == '\n') l_Byte = ' ';
    oOut << l_Line << '\n';
  }
}

void WriteJSON(const std::vector<Problem>& iProblems, std::ostream& oOut) {
  std::string l_Text = "{\"problems\": [";
  for (size_t l_At = 0; l_At < iProblems.size(); ++l_At) {
    const Problem& l_Problem = iProblems[l_At];
    l_Text += l_At ? ",\n  {" : "\n  {";
    auto l_Member = [&](const char* iName, const std::string& iValue, bool iLast = false) {
      l_Text += std::string("\"") + iName + "\": ";
      if (iValue.empty())
        l_Text += "null";
      else
        KELInsRegAppendJSONString(l_Text, iValue);
      l_Text += iLast ? "}" : ", ";
    };
    l_Member("kind", l_Problem.m_Kind);
    l_Member("key", l_Problem.m_Key);
    l_Member("file", l_Problem.m_File);
    l_Member("detail", l_Problem.m_Detail);
    l_Member("repair", l_Problem.m_Repair, true);
  }
  l_Text += iProblems.empty() ? "]}\n" : "\n]}\n";
  oOut << l_Text;
}

}  // namespace

int KELInsRegCheck(const std::optional<KELInsRegKeyName>& iKey, bool iRepair, bool iJson, std::ostream& oOut,
                   std::ostream& oProgress) {
  Walk l_Walk(oProgress, isatty(STDERR_FILENO) == 1);
  Interrupted(iKey, l_Walk);
  try {
    if (iKey) {
      WalkKey(*iKey, l_Walk);
    } else {
      for (int32_t l_Hive : Hives(iKey)) WalkKey(HiveName(l_Hive), l_Walk);
    }
  } catch (...) {
    l_Walk.Done();
    throw;
  }
  l_Walk.Done();
  if (iRepair) {
    // An interrupted change first: finishing it may settle what the walk saw of it.
    std::stable_sort(l_Walk.m_Problems.begin(), l_Walk.m_Problems.end(),
                     [](const Problem& iA, const Problem& iB) {
                       return iA.m_Kind == "interrupted" && iB.m_Kind != "interrupted";
                     });
    bool l_Finished = false;
    for (Problem& l_Problem : l_Walk.m_Problems) {
      if (l_Finished && l_Problem.m_Kind == "leftover") {
        // Finishing the change may have taken it away already.
        std::string l_Root, l_Hive;
        KELInsRegChange::HiveFolder(l_Problem.m_Hive, l_Root, l_Hive);
        struct stat l_Stat;
        if (lstat(l_Problem.m_File.c_str(), &l_Stat) != 0) {
          l_Problem.m_Repair = "removed with the change";
          continue;
        }
      }
      try {
        l_Problem.m_Repair = Repair(l_Problem);
      } catch (const std::exception& l_Error) {
        WriteText({l_Problem}, oOut);
        throw std::runtime_error(KELInsRegDescribe(
            l_Problem.m_Key.empty() ? l_Problem.m_File : l_Problem.m_Key, l_Error, "cannot be repaired"));
      }
      l_Finished = l_Finished || l_Problem.m_Kind == "interrupted";
    }
  }
  if (iJson)
    WriteJSON(l_Walk.m_Problems, oOut);
  else
    WriteText(l_Walk.m_Problems, oOut);
  return l_Walk.m_Problems.empty() ? 0 : 1;
}

int KELInsRegRecover(std::ostream& oOut) {
  std::set<std::string> l_Done;
  for (int32_t l_Hive : Hives(std::nullopt)) {
    std::string l_Journal;
    bool l_Committed = false;
    if (!KELInsRegChange::FindInterrupted(l_Hive, l_Journal, l_Committed) || !l_Done.insert(l_Journal).second)
      continue;
    try {
      KELInsRegChange l_Change(l_Hive);
      if (!l_Change.Recovered().empty()) oOut << l_Journal << ": " << l_Change.Recovered() << '\n';
    } catch (const std::exception& l_Error) {
      throw std::runtime_error(KELInsRegDescribe(l_Journal, l_Error, "cannot recover"));
    }
  }
  return 0;
}
