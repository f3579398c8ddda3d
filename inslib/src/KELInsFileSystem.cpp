#include "KELInsFileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>
#include <utime.h>

#include <cerrno>
#include <utility>

#include "KELInsFileKind.h"
#include "KELInsPath.h"

namespace {

constexpr size_t kCopyBufferSize = 65536;

uint32_t ErrnoCode(int iErrno) { return static_cast<uint32_t>(iErrno); }

// Both descriptors of a file copy, closed together whichever way the copy ends.
struct CopyDescriptors {
  int m_In = -1;
  int m_Out = -1;
  ~CopyDescriptors() {
    if (m_In >= 0) ::close(m_In);
    if (m_Out >= 0) ::close(m_Out);
  }
};

bool IsSameFile(const struct stat& iLeft, const struct stat& iRight) {
  return iLeft.st_dev == iRight.st_dev && iLeft.st_ino == iRight.st_ino && iLeft.st_size == iRight.st_size &&
         iLeft.st_mtime == iRight.st_mtime;
}

// Whether iInner lies strictly below iOuter, judged on the normalised texts.
bool IsBelow(const std::string& iInner, const std::string& iOuter) {
  const std::string l_Outer = KELInsPath(iOuter).GetText();
  const std::string l_Inner = KELInsPath(iInner).GetText();
  const std::string l_Prefix = l_Outer == "/" ? l_Outer : l_Outer + "/";
  return l_Inner.size() > l_Prefix.size() && l_Inner.compare(0, l_Prefix.size(), l_Prefix) == 0;
}

}  // namespace

int KELInsFileSystem::GetType(const std::string& iPath) {
  if (iPath.empty()) {
    throw KELInsException("GetType - empty path");
  }
  int l_Errno = 0;
  const int l_Type = KELInsFileKind(iPath.c_str(), l_Errno);
  if (l_Type == 0) {
    throw KELInsException("lstat - " + iPath, ErrnoCode(l_Errno));
  }
  return l_Type;
}

void KELInsFileSystem::GetTime(const std::string& iPath, int64_t& oAccess, int64_t& oModify,
                               int64_t& oChange) {
  struct stat l_Stat;
  if (::stat(iPath.c_str(), &l_Stat) != 0) {
    const int l_Errno = errno;
    throw KELInsExceptionErrno("GetTime - " + iPath, ErrnoCode(l_Errno));
  }
  oAccess = l_Stat.st_atime;
  oModify = l_Stat.st_mtime;
  oChange = l_Stat.st_ctime;
}

void KELInsFileSystem::SetTime(const std::string& iPath, int64_t iAccess, int64_t iModify) {
  struct utimbuf l_Times;
  l_Times.actime = static_cast<time_t>(iAccess);
  l_Times.modtime = static_cast<time_t>(iModify);
  if (::utime(iPath.c_str(), &l_Times) != 0) {
    const int l_Errno = errno;
    throw KELInsExceptionErrno("SetTime - " + iPath, ErrnoCode(l_Errno));
  }
}

void KELInsFileSystem::Chmod(const std::string& iPath, uint32_t iMode) {
  // Callers write modes the way a shell user does (755); each decimal digit is an octal digit.
  // Digits 8 and 9 are weighted like the others rather than rejected.
  uint64_t l_Mode = 0;
  uint64_t l_Weight = 1;
  for (uint32_t l_Digits = iMode; l_Digits != 0; l_Digits /= 10) {
    l_Mode += (l_Digits % 10) * l_Weight;
    l_Weight *= 8;
  }
  if (::chmod(iPath.c_str(), static_cast<mode_t>(l_Mode)) != 0) {
    const int l_Errno = errno;
    throw KELInsExceptionErrno("Chmod - " + iPath, ErrnoCode(l_Errno));
  }
}

uint64_t KELInsFileSystem::GetFileSize(const std::string& iPath) {
  if (iPath.empty() || ::access(iPath.c_str(), F_OK) != 0) {
    throw KELInsException("GetFileSize - " + iPath + " does not exist.");
  }
  if ((GetType(iPath) & TypeFile) == 0) {
    throw KELInsException("GetFileSize - " + iPath + " is not a file.");
  }
  struct stat l_Stat;
  if (::stat(iPath.c_str(), &l_Stat) != 0) {
    const int l_Errno = errno;
    throw KELInsExceptionErrno("GetFileSize - Cannot stat " + iPath, ErrnoCode(l_Errno));
  }
  return static_cast<uint64_t>(l_Stat.st_size);
}

void KELInsFileSystem::Rename(const std::string& iSource, const std::string& iDestination) {
  if (iSource.empty()) {
    throw KELInsException("Rename - empty source path");
  }
  if (iDestination.empty()) {
    throw KELInsException("Rename - empty destination path");
  }
  if (::rename(iSource.c_str(), iDestination.c_str()) != 0) {
    const int l_Errno = errno;
    throw KELInsException("rename - " + iSource + " to " + iDestination, ErrnoCode(l_Errno));
  }
}

void KELInsFileSystem::Delete(const std::string& iPath) {
  if (iPath.empty()) {
    throw KELInsException("Delete - empty path");
  }
  // A link is removed as a link, even when it points at a directory: never descend through it.
  if (GetType(iPath) != TypeDirectory) {
    if (::unlink(iPath.c_str()) != 0) {
      const int l_Errno = errno;
      throw KELInsException("unlink - " + iPath, ErrnoCode(l_Errno));
    }
    return;
  }
  for (KELInsDirListing l_List = FindFirstFile(iPath, KELInsDirListing::SelectAll); !l_List.IsEnd();
       l_List.Next()) {
    Delete(l_List.GetPath());
  }
  if (::rmdir(iPath.c_str()) != 0) {
    const int l_Errno = errno;
    throw KELInsException("rmdir - " + iPath, ErrnoCode(l_Errno));
  }
}

void KELInsFileSystem::CreateDir(const std::string& iPath) {
  const KELInsPath l_Path(iPath);
  if (l_Path.IsEmpty()) {
    throw KELInsException("CreateDir - empty path");
  }
  const std::string& l_Text = l_Path.GetText();
  struct stat l_Stat;
  if (::stat(l_Text.c_str(), &l_Stat) == 0) {
    if (S_ISDIR(l_Stat.st_mode)) {
      return;
    }
    throw KELInsException("CreateDir - " + l_Text + " is not a directory.");
  }
  const KELInsPath l_Parent = l_Path.GetParent();
  if (!l_Parent.IsEmpty()) {
    CreateDir(l_Parent.GetText());
  }
  // EEXIST means someone else created it between the stat above and now.
  if (::mkdir(l_Text.c_str(), 0755) != 0 && errno != EEXIST) {
    const int l_Errno = errno;
    throw KELInsException("mkdir - " + l_Text, ErrnoCode(l_Errno));
  }
}

void KELInsFileSystem::Copy(const std::string& iSource, const std::string& iDestination) {
  if (iSource.empty()) {
    throw KELInsException("Copy - empty source path");
  }
  if (iDestination.empty()) {
    throw KELInsException("Copy - empty destination path");
  }
  if ((GetType(iSource) & TypeDirectory) != 0) {
    CopyTree(iSource, iDestination);
  } else {
    CopyFile(iSource, iDestination);
  }
}

void KELInsFileSystem::CopyTree(const std::string& iSource, const std::string& iDestination) {
  // Copying a tree into its own subtree would keep finding the copy it is making.
  if (IsBelow(iDestination, iSource)) {
    throw KELInsException("Cannot copy " + iSource + " into itself.");
  }
  CreateDir(iDestination);
  const KELInsPath l_Destination = KELInsPath(iDestination);
  for (KELInsDirListing l_List = FindFirstFile(iSource, KELInsDirListing::SelectAll); !l_List.IsEnd();
       l_List.Next()) {
    Copy(l_List.GetPath(), l_Destination.Append(l_List.GetName()).GetText());
  }
}

void KELInsFileSystem::CopyFile(const std::string& iSource, const std::string& iDestination) {
  const KELInsPath l_Parent = KELInsPath(iDestination).GetParent();
  if (!l_Parent.IsEmpty()) {
    CreateDir(l_Parent.GetText());
  }
  struct stat l_Source;
  struct stat l_Destination;
  if (::stat(iSource.c_str(), &l_Source) != 0) {
    const int l_Errno = errno;
    throw KELInsException("Cannot read " + iSource, ErrnoCode(l_Errno));
  }
  if (::stat(iDestination.c_str(), &l_Destination) == 0 && IsSameFile(l_Source, l_Destination)) {
    throw KELInsException("Cannot copy " + iSource + " to itself.");
  }
  CopyDescriptors l_Fd;
  l_Fd.m_In = ::open(iSource.c_str(), O_RDONLY);
  if (l_Fd.m_In < 0) {
    const int l_Errno = errno;
    throw KELInsException("Cannot read " + iSource, ErrnoCode(l_Errno));
  }
  l_Fd.m_Out = ::open(iDestination.c_str(), O_WRONLY | O_CREAT | O_TRUNC, l_Source.st_mode & 0777);
  if (l_Fd.m_Out < 0) {
    const int l_Errno = errno;
    throw KELInsExceptionErrno("Cannot write into " + iDestination, ErrnoCode(l_Errno));
  }
  char l_Buffer[kCopyBufferSize];
  for (;;) {
    const ssize_t l_Read = ::read(l_Fd.m_In, l_Buffer, sizeof l_Buffer);
    if (l_Read == 0) {
      break;
    }
    // A read failure ends the copy the same way as a write failure: the destination is what is
    // left unfinished. A short write is not retried.
    if (l_Read < 0 || ::write(l_Fd.m_Out, l_Buffer, static_cast<size_t>(l_Read)) < 0) {
      const int l_Errno = errno;
      throw KELInsExceptionErrno("Cannot write into " + iDestination, ErrnoCode(l_Errno));
    }
  }
  ::close(std::exchange(l_Fd.m_In, -1));
  ::close(std::exchange(l_Fd.m_Out, -1));
  if (l_Source.st_atime != 0) {
    SetTime(iDestination, l_Source.st_atime, l_Source.st_mtime);
  }
}

uint64_t KELInsFileSystem::GetFreeSpace(const std::string& iPath) {
  for (KELInsPath l_Path(iPath); !l_Path.IsEmpty(); l_Path = l_Path.GetParent()) {
    struct statfs l_Fs;
    if (::statfs(l_Path.GetText().c_str(), &l_Fs) == 0) {
      const uint64_t l_Block =
          l_Fs.f_frsize != 0 ? static_cast<uint64_t>(l_Fs.f_frsize) : static_cast<uint64_t>(l_Fs.f_bsize);
      return static_cast<uint64_t>(l_Fs.f_bavail) * l_Block;
    }
  }
  return 0;
}

KELInsDirListing KELInsFileSystem::FindFirstFile(const std::string& iPath, int iFlags) {
  if (iPath.empty()) {
    throw KELInsException("FindFirstFile - Path is empty");
  }
  return KELInsDirListing(iPath, iFlags);
}
