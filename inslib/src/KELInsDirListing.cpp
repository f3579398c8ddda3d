#include "KELInsDirListing.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "KELInsException.h"
#include "KELInsFileKind.h"

KELInsDirListing::KELInsDirListing(const std::string& iDir, int iFlags) : m_Listed(iDir), m_Flags(iFlags) {
  m_Dir = ::opendir(m_Listed.c_str());
  if (m_Dir == nullptr) {
    const int l_Errno = errno;
    throw KELInsException("opendir - " + m_Listed, static_cast<uint32_t>(l_Errno));
  }
  // The destructor does not run for a constructor that throws, so close here.
  try {
    Next();
  } catch (...) {
    Close();
    throw;
  }
}

KELInsDirListing::KELInsDirListing(KELInsDirListing&& ioOther) noexcept
    : m_Listed(std::move(ioOther.m_Listed)),
      m_Flags(ioOther.m_Flags),
      m_Dir(std::exchange(ioOther.m_Dir, nullptr)),
      m_Name(std::move(ioOther.m_Name)),
      m_Path(std::move(ioOther.m_Path)),
      m_Type(ioOther.m_Type) {}

KELInsDirListing& KELInsDirListing::operator=(KELInsDirListing&& ioOther) noexcept {
  if (this != &ioOther) {
    Close();
    m_Listed = std::move(ioOther.m_Listed);
    m_Flags = ioOther.m_Flags;
    m_Dir = std::exchange(ioOther.m_Dir, nullptr);
    m_Name = std::move(ioOther.m_Name);
    m_Path = std::move(ioOther.m_Path);
    m_Type = ioOther.m_Type;
  }
  return *this;
}

KELInsDirListing::~KELInsDirListing() { Close(); }

void KELInsDirListing::Close() {
  if (m_Dir != nullptr) {
    ::closedir(m_Dir);
    m_Dir = nullptr;
  }
}

void KELInsDirListing::Next() {
  while (m_Dir != nullptr) {
    errno = 0;
    const dirent* l_Entry = ::readdir(m_Dir);
    if (l_Entry == nullptr) {
      const int l_Errno = errno;
      Close();
      if (l_Errno != 0) {
        throw KELInsException("readdir - " + m_Listed, static_cast<uint32_t>(l_Errno));
      }
      return;
    }
    if (std::strcmp(l_Entry->d_name, ".") == 0 || std::strcmp(l_Entry->d_name, "..") == 0) {
      continue;
    }
    // Names are used as they are: an entry may hold characters that path normalisation would rewrite.
    std::string l_Path = m_Listed;
    if (l_Path.back() != '/') {
      l_Path += '/';
    }
    l_Path += l_Entry->d_name;
    int l_Errno = 0;
    const int l_Type = KELInsFileKind(l_Path.c_str(), l_Errno);
    if (l_Type == 0) {
      // An entry removed since the directory was read is simply no longer there.
      if (l_Errno == ENOENT) {
        continue;
      }
      throw KELInsException("lstat - " + l_Path, static_cast<uint32_t>(l_Errno));
    }
    if ((l_Type & m_Flags & SelectAll) != 0) {
      m_Name = l_Entry->d_name;
      m_Path = std::move(l_Path);
      m_Type = l_Type;
      return;
    }
  }
}
