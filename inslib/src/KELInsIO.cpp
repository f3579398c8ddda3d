#include "KELInsIO.h"

#include <sys/stat.h>

#include <fstream>
#include <stdexcept>

#include "KELInsFileSystem.h"
#include "KELInsPath.h"

namespace {

constexpr const char* kTemporarySuffix = "_TmpRIL";

[[noreturn]] void ThrowReplaceError(const std::string& iCause, const std::string& iSearched,
                                    const std::string& iReplacement) {
  throw std::runtime_error("KELInsIO::ReplaceInLines: " + iCause + "\nReplaced: " + iSearched +
                           "\nReplacing: " + iReplacement);
}

// The permission bits as the decimal number Chmod reads back as octal: 0644 becomes 644.
uint32_t ModeAsDigits(mode_t iMode) {
  return ((iMode >> 6) & 7) * 100 + ((iMode >> 3) & 7) * 10 + (iMode & 7);
}

}  // namespace

bool KELInsIO::ReadLine(std::istream& ioStream, std::string& oLine) {
  if (!std::getline(ioStream, oLine, ioStream.widen('\n'))) {
    return false;
  }
  if (!oLine.empty() && oLine.back() == '\r') {
    oLine.pop_back();
  }
  return true;
}

int32_t KELInsIO::ReplaceAll(std::string& ioText, const std::string& iSearched,
                             const std::string& iReplacement, std::string::size_type iStart) {
  if (iSearched.empty()) {
    return 0;
  }
  int32_t l_Count = 0;
  for (std::string::size_type l_Pos = ioText.find(iSearched, iStart); l_Pos != std::string::npos;
       l_Pos = ioText.find(iSearched, l_Pos + iReplacement.size())) {
    ioText.replace(l_Pos, iSearched.size(), iReplacement);
    ++l_Count;
  }
  return l_Count;
}

bool KELInsIO::SetOwnerWritable(const std::string& iPath, bool iRestore) {
  struct stat l_Stat;
  if (::stat(iPath.c_str(), &l_Stat) != 0) {
    return false;
  }
  const bool l_Writable = (l_Stat.st_mode & S_IWUSR) != 0;
  if (l_Writable != iRestore) {
    return false;
  }
  const mode_t l_Mode = (l_Stat.st_mode & 0777) ^ S_IWUSR;
  KELInsFileSystem::Chmod(iPath, ModeAsDigits(l_Mode));
  return true;
}

int32_t KELInsIO::ReplaceInLines(const std::string& iFileName, const std::string& iSearched,
                                 const std::string& iReplacement) {
  if (iFileName.empty()) {
    ThrowReplaceError("Filename is empty", iSearched, iReplacement);
  }
  if (iSearched.empty()) {
    return 0;
  }
  const std::string l_Path = KELInsPath::ToSlashes(iFileName);
  const std::string l_Temporary = l_Path + kTemporarySuffix;

  std::string l_Buffer;
  int32_t l_Total = 0;
  {
    std::ifstream l_In(l_Path, std::ios::in | std::ios::binary);
    if (!l_In.is_open()) {
      ThrowReplaceError("Failed to open " + l_Path, iSearched, iReplacement);
    }
    std::string l_Line;
    for (bool l_First = true; ReadLine(l_In, l_Line); l_First = false) {
      if (!l_First) {
        l_Buffer += '\n';
      }
      l_Total += ReplaceAll(l_Line, iSearched, iReplacement);
      l_Buffer += l_Line;
    }
    // A path that opens but cannot be read (a directory) must not pass for a file without matches.
    if (l_In.bad()) {
      ThrowReplaceError("Failed to read " + l_Path, iSearched, iReplacement);
    }
  }
  if (l_Total == 0) {
    return 0;
  }

  {
    std::ofstream l_Out(l_Temporary, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!l_Out.is_open()) {
      ThrowReplaceError("Failed to open " + l_Temporary, iSearched, iReplacement);
    }
    l_Out.write(l_Buffer.data(), static_cast<std::streamsize>(l_Buffer.size()));
    l_Out.close();
    // Copying a short temporary file over the original would lose the end of the file.
    if (!l_Out) {
      ThrowReplaceError("Failed to write " + l_Temporary, iSearched, iReplacement);
    }
  }

  // Copy rather than rename: the file keeps its inode, so links to it and its owner stay.
  const bool l_Lent = SetOwnerWritable(l_Path, false);
  KELInsFileSystem::Copy(l_Temporary, l_Path);
  KELInsFileSystem::Delete(l_Temporary);
  if (l_Lent) {
    SetOwnerWritable(l_Path, true);
  }
  return l_Total;
}
