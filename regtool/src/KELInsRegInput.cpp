#include "KELInsRegInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>

namespace {

std::string TooLarge(size_t iMax) { return "document larger than " + std::to_string(iMax >> 20) + " MiB"; }

// Appends to oText what iRead(buffer, count) gives (0 at the end, -1 with errno set on failure) until
// the end or until it holds iMax + 1 bytes; false with the reason in oWhy.
template <class F>
bool ReadCapped(F&& iRead, size_t iMax, std::string& oText, std::string& oWhy) {
  char l_Block[65536];
  for (;;) {
    ssize_t l_Read = iRead(l_Block, std::min(sizeof l_Block, iMax + 1 - oText.size()));
    if (l_Read < 0 && errno == EINTR) continue;
    if (l_Read < 0) {
      oWhy = std::strerror(errno);
      return false;
    }
    if (l_Read == 0) return true;
    oText.append(l_Block, size_t(l_Read));
    if (oText.size() > iMax) {
      oWhy = TooLarge(iMax);
      return false;
    }
  }
}

// Reads the descriptor iFd into a text that gets its room at once, so that it is never copied to
// grow: as much as what is left of a regular file (refused by its size when that is over iMax), the
// limit for anything else (a pipe). Room that is never written takes no memory.
bool ReadDescriptor(int iFd, size_t iMax, std::string& oText, std::string& oWhy) {
  struct stat l_Stat;
  size_t l_Room = iMax + 1;
  if (fstat(iFd, &l_Stat) == 0 && S_ISREG(l_Stat.st_mode)) {
    off_t l_Left = l_Stat.st_size - std::max(lseek(iFd, 0, SEEK_CUR), off_t(0));
    if (l_Left > off_t(iMax)) {
      oWhy = TooLarge(iMax);
      return false;
    }
    l_Room = size_t(std::max(l_Left, off_t(0)));
  }
  oText.reserve(l_Room);
  return ReadCapped([&](char* oBuffer, size_t iCount) { return read(iFd, oBuffer, iCount); }, iMax, oText,
                    oWhy);
}

}  // namespace

bool KELInsRegReadInput(const std::string& iFile, std::istream& iIn, size_t iMax, std::string& oText,
                        std::string& oWhy) {
  oText.clear();
  bool l_Read = false;
  if (!iFile.empty() && iFile != "-") {
    int l_Fd = open(iFile.c_str(), O_RDONLY | O_CLOEXEC);
    if (l_Fd < 0) {
      oWhy = iFile + ": " + std::strerror(errno);
      return false;
    }
    l_Read = ReadDescriptor(l_Fd, iMax, oText, oWhy);
    close(l_Fd);
    if (!l_Read) oWhy = iFile + ": " + oWhy;
    return l_Read;
  }
  if (&iIn == &std::cin) {
    l_Read = ReadDescriptor(STDIN_FILENO, iMax, oText, oWhy);
  } else {
    std::streambuf* l_Buffer = iIn.rdbuf();
    l_Read =
        ReadCapped([&](char* oBuffer,
                       size_t iCount) { return ssize_t(l_Buffer->sgetn(oBuffer, std::streamsize(iCount))); },
                   iMax, oText, oWhy);
  }
  if (!l_Read) oWhy = "standard input: " + oWhy;
  return l_Read;
}
