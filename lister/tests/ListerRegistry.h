// Test fixture: a registry of installations in a fresh temporary folder (removed afterwards), in the
// key-file layout. Key files are written directly, so tests control every byte.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../../tests/KELTestSupport.h"

class ListerTest : public ::testing::Test, public KELTestTempDir {
 public:
  ListerTest() : KELTestTempDir("KELListerTest") {}
  // The folder that stands for /etc/.Quorvane.
  const std::string& Root() const { return Path(); }

  // Key iPath of the local-machine hive with its parents, holding the non-empty string values of
  // iValues ("name", "text", ...); the text is stored between quotes as it is.
  void AddKey(const std::string& iPath, const std::vector<std::string>& iValues) const {
    std::filesystem::create_directories(At("HKLM/" + iPath));
    for (std::string l_Part = "HKLM/" + iPath; l_Part != "HKLM"; l_Part.resize(l_Part.rfind('/')))
      if (!Exists(l_Part + ".json")) Write(l_Part + ".json", "");
    std::string l_Body;
    for (size_t l_At = 0; l_At < iValues.size(); l_At += 2)
      if (!iValues[l_At + 1].empty())
        l_Body += ",\"" + iValues[l_At] + "\":[3,\"" + iValues[l_At + 1] + "\"]";
    Write("HKLM/" + iPath + ".json", "{\"Version\":\"1.0\",\"" + iPath.substr(iPath.rfind('/') + 1) + "\":{" +
                                         l_Body.substr(!l_Body.empty()) + "}}");
  }
  void AddInstall(const std::string& iLevelTypeIdent, const std::string& iPath,
                  const std::string& iHfx = "") const {
    AddKey("SOFTWARE/Quorvane/Q4/" + iLevelTypeIdent, {"Path", iPath, "SPlevel", iHfx});
  }
  void AddCommon(const std::string& iType, const std::string& iLevel, const std::string& iPath) const {
    AddKey("SOFTWARE/Quorvane/Q4_Common/" + iType, {"GAlevel", iLevel, "Path", iPath, "SPlevel", "4.1"});
  }
};
