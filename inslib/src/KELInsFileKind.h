// Internal: the kind probe shared by KELInsFileSystem::GetType and directory listings.
#ifndef KELInsFileKind_H
#define KELInsFileKind_H

#include <sys/stat.h>

#include <cerrno>

// The GetType kind of iPath (1, 2, 5 or 6), or 0 with oErrno set when lstat fails. errno is taken
// at once, before the caller builds any message.
inline int KELInsFileKind(const char* iPath, int& oErrno) {
  struct stat l_Stat;
  if (::lstat(iPath, &l_Stat) != 0) {
    oErrno = errno;
    return 0;
  }
  if (!S_ISLNK(l_Stat.st_mode)) {
    return S_ISDIR(l_Stat.st_mode) ? 1 : 2;
  }
  // A link is judged by its target; a dangling one counts as a link to a file.
  struct stat l_Target;
  const bool l_ToDirectory = ::stat(iPath, &l_Target) == 0 && S_ISDIR(l_Target.st_mode);
  return l_ToDirectory ? 5 : 6;
}

#endif
