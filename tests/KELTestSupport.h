// What the tests of every module share: a fresh temporary folder removed afterwards, whole files read
// and written as bytes, a tree listed with its bytes, and shell quoting.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

inline std::string KELTestReadFile(const std::string& iPath) {
  std::ifstream l_In(iPath, std::ios::binary);
  return {std::istreambuf_iterator<char>(l_In), {}};
}
inline void KELTestWriteFile(const std::string& iPath, const std::string& iBytes) {
  std::ofstream(iPath, std::ios::binary | std::ios::trunc) << iBytes;
}

// A fresh folder /tmp/<iPrefix>.XXXXXX, removed with all it holds when the object goes.
class KELTestTempDir {
 public:
  explicit KELTestTempDir(const std::string& iPrefix = "KELTest") : m_Path("/tmp/" + iPrefix + ".XXXXXX") {
    if (::mkdtemp(m_Path.data()) == nullptr) m_Path.clear();
  }
  ~KELTestTempDir() {
    if (!m_Path.empty()) std::filesystem::remove_all(m_Path);
  }
  KELTestTempDir(const KELTestTempDir&) = delete;
  KELTestTempDir& operator=(const KELTestTempDir&) = delete;
  const std::string& Path() const { return m_Path; }
  std::string At(const std::string& iName) const { return m_Path + "/" + iName; }
  // Writes iBytes to iName below the folder, making the folders on the way; returns its path.
  std::string Write(const std::string& iName, const std::string& iBytes) const {
    std::filesystem::create_directories(std::filesystem::path(At(iName)).parent_path());
    KELTestWriteFile(At(iName), iBytes);
    return At(iName);
  }
  std::string Read(const std::string& iName) const { return KELTestReadFile(At(iName)); }
  // Whether iName exists below the folder (a symbolic link counts by its target).
  bool Exists(const std::string& iName) const { return std::filesystem::exists(At(iName)); }

 private:
  std::string m_Path;
};

// Every path below iRoot, relative, with its bytes ("<dir>" for a folder) and, when asked, its
// modification time; sorted, so that whole trees compare.
inline std::vector<std::string> KELTestSnapshot(const std::string& iRoot, bool iTimes = false) {
  std::vector<std::string> l_Files;
  for (const auto& l_Entry : std::filesystem::recursive_directory_iterator(iRoot))
    l_Files.push_back(
        l_Entry.path().string().substr(iRoot.size()) +
        (iTimes ? " " + std::to_string(l_Entry.last_write_time().time_since_epoch().count()) : "") + " " +
        (l_Entry.is_regular_file() ? KELTestReadFile(l_Entry.path()) : "<dir>"));
  std::sort(l_Files.begin(), l_Files.end());
  return l_Files;
}

// iText as one word for the shell.
inline std::string KELTestQuote(const std::string& iText) {
  std::string l_Quoted = "'";
  for (char l_Char : iText) l_Quoted += l_Char == '\'' ? std::string("'\\''") : std::string(1, l_Char);
  return l_Quoted + "'";
}
