#include "KELInsRegCheck.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
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
// (one level below), in the local-machine hive: their full names, and how many '\' they hold.
bool IsInstallation(int32_t iHive, std::string_view iFull) {
  if (iHive != H::HiveLocalMachine) return false;
  const size_t l_Steps = size_t(std::count(iFull.begin(), iFull.end(), '\\'));
  return (iFull.starts_with("HKLM\\SOFTWARE\\Quorvane\\Q4\\") && l_Steps == 6) ||
         (iFull.starts_with("HKLM\\SOFTWARE\\Quorvane\\Q4_Common\\") && l_Steps == 4);
}

// The entries of the folder iFd: names in one buffer, each with its type, taken straight from
// getdents64 into a buffer reused for every folder.
struct Listing {
  std::string m_Names;
  std::vector<std::pair<uint32_t, unsigned char>> m_Entries;  // start in m_Names, type

  bool Read(int iFd) {
    m_Names.clear();
    m_Entries.clear();
    alignas(8) static char s_Buffer[65536];
    for (;;) {
      long l_Got = syscall(SYS_getdents64, iFd, s_Buffer, sizeof s_Buffer);
      if (l_Got < 0) return false;
      if (l_Got == 0) return true;
      for (long l_At = 0; l_At < l_Got;) {
        const auto* l_Entry = reinterpret_cast<const dirent64*>(s_Buffer + l_At);
        l_At += l_Entry->d_reclen;
        std::string_view l_Name = l_Entry->d_name;
        if (l_Name == "." || l_Name == "..") continue;
        unsigned char l_Type = l_Entry->d_type;
        if (l_Type == DT_UNKNOWN) {
          struct stat l_Stat;
          if (fstatat(iFd, l_Entry->d_name, &l_Stat, AT_SYMLINK_NOFOLLOW) == 0)
            l_Type = S_ISDIR(l_Stat.st_mode) ? DT_DIR : S_ISREG(l_Stat.st_mode) ? DT_REG : DT_LNK;
        }
        m_Entries.emplace_back(uint32_t(m_Names.size()), l_Type);
        m_Names.append(l_Name).push_back('\0');
      }
    }
  }
  std::string_view Name(size_t iAt) const { return m_Names.c_str() + m_Entries[iAt].first; }
};

class Walk {
 public:
  Walk(std::ostream& oProgress, bool iShowProgress) : m_Progress(oProgress), m_Show(iShowProgress) {}

  // Checks the key named ioFull (its file already opened as iKey, or the hive root when iKey is
  // null), whose folder is iFolder (closed here) at ioFolderPath and at ioBelow below the registry
  // root, and everything below it. The three texts grow for each subkey and come back as they were.
  void Key(int32_t iHive, std::string& ioFull, const H* iKey, int iFolder, std::string& ioFolderPath,
           std::string& ioBelow) {
    Tick();
    if (iKey) Values(iHive, ioFull, *iKey, ioBelow);
    Listing l_List;
    const bool l_Read = l_List.Read(iFolder);
    const int l_Error = errno;
    if (!l_Read) {
      close(iFolder);
      throw std::runtime_error(ioFolderPath + ": " + std::strerror(l_Error));
    }
    // Key files (without ".json") and folders, each sorted: keys are walked in byte order.
    std::vector<std::string_view> l_Files, l_Folders;
    for (size_t l_At = 0; l_At < l_List.m_Entries.size(); ++l_At) {
      std::string_view l_Name = l_List.Name(l_At);
      unsigned char l_Type = l_List.m_Entries[l_At].second;
      if (KELInsRegChange::IsChangeName(std::string(l_Name)))
        Add({"leftover", "", ioFolderPath + "/" + std::string(l_Name), "left by an interrupted change", "",
             iHive, ioBelow + "/" + std::string(l_Name)});
      else if (l_Type == DT_DIR)
        l_Folders.push_back(l_Name);
      else if (l_Name.size() > 5 && l_Name.ends_with(".json") && (l_Type == DT_REG || l_Type == DT_LNK))
        l_Files.push_back(l_Name.substr(0, l_Name.size() - 5));
    }
    std::sort(l_Files.begin(), l_Files.end());
    std::sort(l_Folders.begin(), l_Folders.end());
    const size_t l_Full = ioFull.size(), l_Path = ioFolderPath.size(), l_Below = ioBelow.size();
    auto l_Enter = [&](std::string_view iName) {
      ioFull.append(1, '\\').append(iName);
      ioFolderPath.append(1, '/').append(iName);
      ioBelow.append(1, '/').append(iName);
    };
    auto l_Leave = [&] {
      ioFull.resize(l_Full);
      ioFolderPath.resize(l_Path);
      ioBelow.resize(l_Below);
    };
    for (std::string_view l_Name : l_Files)
      if (!std::binary_search(l_Folders.begin(), l_Folders.end(), l_Name)) {
        l_Enter(l_Name);
        Add({"half-made", ioFull, ioFolderPath + ".json",
             "key file without its folder (the key is not listed)", "", iHive, ioBelow});
        l_Leave();
      }
    for (std::string_view l_Name : l_Folders) {
      const bool l_HasFile = std::binary_search(l_Files.begin(), l_Files.end(), l_Name);
      const std::string l_Own(l_Name);
      l_Enter(l_Name);
      // A folder without its file: its subkeys hide below it, and the walk goes on through it.
      if (!l_HasFile)
        Add({"half-made", ioFull, ioFolderPath,
             "key folder without its key file (the key and its subkeys are not listed)", "", iHive, ioBelow});
      H l_Key;
      if (l_HasFile) {
        try {
          l_Key = iKey ? H::OpenKey(*iKey, l_Own, H::ReadOnly) : H::OpenKey(iHive, l_Own, H::ReadOnly);
        } catch (const std::exception&) {
        }
      }
      int l_Sub = openat(iFolder, l_Own.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
      if (l_Sub >= 0) Key(iHive, ioFull, l_Key.IsOpen() ? &l_Key : nullptr, l_Sub, ioFolderPath, ioBelow);
      l_Leave();
    }
    close(iFolder);
  }

  std::vector<Problem> m_Problems;

  void Add(Problem&& iProblem) { m_Problems.push_back(std::move(iProblem)); }
  void Done() {
    if (m_Shown) m_Progress << "\r\033[K" << std::flush;
  }

 private:
  void Values(int32_t iHive, const std::string& iFull, const H& iKey, const std::string& iBelow) {
    std::string l_Damage = iKey.Damage();
    if (!l_Damage.empty()) {
      Add({"damaged", iFull, iKey.FilePath(), l_Damage, "", iHive, iBelow});
      return;
    }
    if (!IsInstallation(iHive, iFull)) return;
    std::string l_Path;
    if (!iKey.TryGetValue("Path", l_Path) || l_Path.empty()) {
      Add({"null-path", iFull, iKey.FilePath(), "installation without a Path (listed with a null path)", "",
           iHive, iBelow});
      return;
    }
    std::string l_Shown = KELInsRegShow(l_Path);
    struct stat l_Stat;
    if (stat(l_Shown.c_str(), &l_Stat) != 0 || !S_ISDIR(l_Stat.st_mode))
      Add({"orphan", iFull, iKey.FilePath(), "installation whose Path " + l_Shown + " is not a folder here",
           "", iHive, iBelow});
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
  std::string l_Full = iName.Full(), l_FolderPath = l_Folder;
  ioWalk.Key(iName.m_Hive, l_Full, l_Key.IsOpen() ? &l_Key : nullptr, l_Fd, l_FolderPath, l_Below);
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
