// An open listing of one directory, as returned by KELInsFileSystem::FindFirstFile. Move-only; the
// directory is closed by Close() or when the listing goes out of scope.
#ifndef KELInsDirListing_H
#define KELInsDirListing_H

#include <dirent.h>

#include <string>

class KELInsDirListing {
 public:
  // Selection flags: which kinds of entry the listing yields.
  static constexpr int SelectDirectories = 0x1;  // directories and links to directories
  static constexpr int SelectFiles = 0x2;        // everything else
  static constexpr int SelectAll = SelectDirectories | SelectFiles;

  KELInsDirListing(KELInsDirListing&& ioOther) noexcept;
  KELInsDirListing& operator=(KELInsDirListing&& ioOther) noexcept;
  KELInsDirListing(const KELInsDirListing&) = delete;
  KELInsDirListing& operator=(const KELInsDirListing&) = delete;
  ~KELInsDirListing();

  // True once every selected entry has been visited (or after Close()).
  bool IsEnd() const { return m_Dir == nullptr; }
  // The current entry's name, full path (the listed path followed by the name) and kind (as
  // KELInsFileSystem::GetType). Meaningful only while !IsEnd().
  const std::string& GetName() const { return m_Name; }
  const std::string& GetPath() const { return m_Path; }
  int GetType() const { return m_Type; }

  // Moves to the next selected entry. "." and ".." are never yielded; the order is the directory's.
  // Throws KELInsException with errno text if the directory cannot be read or an entry examined.
  void Next();
  void Close();

 private:
  friend class KELInsFileSystem;
  // Opens iDir, taken verbatim; throws KELInsException with errno text ("opendir - " + path).
  KELInsDirListing(const std::string& iDir, int iFlags);

  std::string m_Listed;
  int m_Flags = SelectAll;
  DIR* m_Dir = nullptr;
  std::string m_Name;
  std::string m_Path;
  int m_Type = 0;
};

#endif
