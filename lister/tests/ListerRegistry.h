// Test support: a registry of installations built in a fresh temporary folder, in the key-file
// layout, and removed afterwards. Files are written directly (not through the registry) so that
// tests control every byte.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

using ListerValues = std::vector<std::pair<std::string, std::string>>;

class ListerRegistry {
 public:
  ListerRegistry() {
    char l_Template[] = "/tmp/KELListerTest.XXXXXX";
    if (::mkdtemp(l_Template) == nullptr) throw std::runtime_error(std::strerror(errno));
    m_Root = l_Template;
    Write(m_Root + "/HKLM.json", "");
    std::filesystem::create_directory(m_Root + "/HKLM");
  }
  ~ListerRegistry() { std::filesystem::remove_all(m_Root); }
  ListerRegistry(const ListerRegistry&) = delete;
  ListerRegistry& operator=(const ListerRegistry&) = delete;

  // The folder that stands for /etc/.Quorvane.
  const std::string& Root() const { return m_Root; }

  // Key iPath ("A/B/C", below the local-machine hive) with string values, and its parents.
  void AddKey(const std::string& iPath, const ListerValues& iValues = {}) const {
    std::filesystem::path l_Key = m_Root + "/HKLM/" + iPath;
    for (std::filesystem::path l_Part = l_Key; l_Part != m_Root + "/HKLM"; l_Part = l_Part.parent_path()) {
      std::filesystem::create_directories(l_Part);
      if (!std::filesystem::exists(l_Part.string() + ".json")) Write(l_Part.string() + ".json", "");
    }
    std::string l_Body;
    for (const auto& [l_Name, l_Value] : iValues)
      l_Body += (l_Body.empty() ? "\"" : ",\"") + l_Name + "\":[3,\"" + Escape(l_Value) + "\"]";
    const std::string l_Name = l_Key.filename().string();
    Write(l_Key.string() + ".json", "{\"Version\":\"1.0\",\"" + l_Name + "\":{" + l_Body + "}}");
  }
  // A product-tree installation; an empty hotfix level or path leaves that value out.
  void AddInstall(const std::string& iLevel, const std::string& iType, const std::string& iIdent,
                  const std::string& iPath, const std::string& iHfx = "") const {
    AddKey(s_Product + iLevel + "/" + iType + "/" + iIdent, Values({{"Path", iPath}, {"SPlevel", iHfx}}));
  }
  // A common-tree installation; empty values are left out.
  void AddCommon(const std::string& iType, const std::string& iLevel, const std::string& iPath,
                 const std::string& iHfx = "") const {
    AddKey(s_Common + iType, Values({{"GAlevel", iLevel}, {"Path", iPath}, {"SPlevel", iHfx}}));
  }

  // Every file below the root with its bytes and modification time, for before/after comparisons.
  std::vector<std::string> Snapshot() const {
    std::vector<std::string> l_Files;
    for (const auto& l_Entry : std::filesystem::recursive_directory_iterator(m_Root)) {
      std::string l_Line = l_Entry.path().string() + " " +
                           std::to_string(l_Entry.last_write_time().time_since_epoch().count());
      if (l_Entry.is_regular_file()) l_Line += " " + Read(l_Entry.path().string());
      l_Files.push_back(l_Line);
    }
    std::sort(l_Files.begin(), l_Files.end());
    return l_Files;
  }

  static void Write(const std::string& iFile, const std::string& iBytes) {
    std::ofstream(iFile, std::ios::binary | std::ios::trunc) << iBytes;
  }
  static std::string Read(const std::string& iFile) {
    std::ifstream l_In(iFile, std::ios::binary);
    return {std::istreambuf_iterator<char>(l_In), {}};
  }

  static inline const std::string s_Product = "SOFTWARE/Quorvane/Q4/";
  static inline const std::string s_Common = "SOFTWARE/Quorvane/Q4_Common/";

 private:
  static ListerValues Values(const ListerValues& iAll) {
    ListerValues l_Kept;
    for (const auto& l_Value : iAll)
      if (!l_Value.second.empty()) l_Kept.push_back(l_Value);
    return l_Kept;
  }
  // JSON string escapes for quote and backslash; every other byte is written as it is.
  static std::string Escape(const std::string& iText) {
    std::string l_Out;
    for (char l_Char : iText) {
      if (l_Char == '"' || l_Char == '\\') l_Out += '\\';
      l_Out += l_Char;
    }
    return l_Out;
  }

  std::string m_Root;
};
