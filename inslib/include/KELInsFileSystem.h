// File-system operations on narrow path strings. Every operation either succeeds or throws
// KELInsException / KELInsExceptionErrno with a message naming the operation and the path; none
// returns an error code. Nothing done before a failure is undone.
#ifndef KELInsFileSystem_H
#define KELInsFileSystem_H

#include <cstdint>
#include <string>

#include "KELInsDirListing.h"
#include "KELInsException.h"

class KELInsFileSystem {
 public:
  // Kinds returned by GetType: bit 0x1 directory-like, 0x2 file-like, 0x4 reached through a link.
  static constexpr int TypeDirectory = 1;
  static constexpr int TypeFile = 2;  // anything not a directory nor a link: file, device, socket, pipe
  static constexpr int TypeLinkToDirectory = 5;
  static constexpr int TypeLinkToFile = 6;  // also a dangling link

  // The kind of iPath, without following a final link (but looking through it for its target).
  // Throws KELInsException "GetType - empty path", or with errno "lstat - " + path.
  static int GetType(const std::string& iPath);

  // Access, modification and status-change times of iPath (links followed), in seconds since the
  // epoch. Throws KELInsExceptionErrno "GetTime - " + path.
  static void GetTime(const std::string& iPath, int64_t& oAccess, int64_t& oModify, int64_t& oChange);

  // Sets access and modification times. Throws KELInsExceptionErrno "SetTime - " + path.
  static void SetTime(const std::string& iPath, int64_t iAccess, int64_t iModify);

  // Sets the mode whose octal digits are written as the decimal digits of iMode (755 gives 0755).
  // Throws KELInsExceptionErrno "Chmod - " + path.
  static void Chmod(const std::string& iPath, uint32_t iMode);

  // Size in bytes of the file at iPath (links followed). Throws KELInsException "GetFileSize - " +
  // path + " does not exist." or " is not a file.", or KELInsExceptionErrno
  // "GetFileSize - Cannot stat " + path.
  static uint64_t GetFileSize(const std::string& iPath);

  // Renames iSource to iDestination. Throws KELInsException "Rename - empty source path",
  // "Rename - empty destination path", or with errno "rename - " + source + " to " + destination.
  static void Rename(const std::string& iSource, const std::string& iDestination);

  // Removes a file, a link (never what it points to) or a whole directory tree. Throws
  // KELInsException "Delete - empty path", or with errno "unlink - " + path / "rmdir - " + path.
  static void Delete(const std::string& iPath);

  // Creates the directory iPath (normalised) and its missing ancestors; an existing directory is
  // fine. Throws KELInsException "CreateDir - empty path", "CreateDir - " + path +
  // " is not a directory.", or with errno "mkdir - " + path.
  static void CreateDir(const std::string& iPath);

  // Copies a file (contents, permission bits and time stamps) or a directory tree. Missing parent
  // directories of the destination are created. Throws KELInsException "Copy - empty source path",
  // "Copy - empty destination path", "Cannot copy " + source + " to itself.", "Cannot copy " +
  // source + " into itself." (a tree into its own subtree), or with errno "Cannot read " + source;
  // KELInsExceptionErrno "Cannot write into " + destination.
  static void Copy(const std::string& iSource, const std::string& iDestination);

  // Bytes available to unprivileged users on the file system holding iPath; when iPath cannot be
  // examined its nearest examinable ancestor is used, and 0 is returned when there is none.
  static uint64_t GetFreeSpace(const std::string& iPath);

  // Opens a listing of the directory iPath (taken verbatim, so that names holding backslashes or quotes
  // can be listed and deleted) yielding the kinds selected by iFlags
  // (KELInsDirListing::SelectAll = 3 for everything). Throws KELInsException
  // "FindFirstFile - Path is empty", or with errno "opendir - " + path.
  static KELInsDirListing FindFirstFile(const std::string& iPath, int iFlags);

 private:
  static void CopyFile(const std::string& iSource, const std::string& iDestination);
  static void CopyTree(const std::string& iSource, const std::string& iDestination);
};

#endif
