#include "KELInsPath.h"

namespace {

bool IsEnclosedIn(const std::string& iText, char iQuote) {
  return iText.size() >= 2 && iText.front() == iQuote && iText.back() == iQuote;
}

// One left-to-right pass that replaces each "//" by "/"; returns whether it replaced anything.
bool CollapseSlashPairs(std::string& ioText) {
  bool l_Changed = false;
  for (std::string::size_type l_Pos = ioText.find("//"); l_Pos != std::string::npos;
       l_Pos = ioText.find("//", l_Pos + 1)) {
    ioText.erase(l_Pos, 1);
    l_Changed = true;
  }
  return l_Changed;
}

}  // namespace

KELInsPath::KELInsPath(const std::string& iText) {
  std::string l_Text(iText);
  if (IsEnclosedIn(l_Text, '"') || IsEnclosedIn(l_Text, '\'')) {
    l_Text = l_Text.substr(1, l_Text.size() - 2);
  }
  l_Text = ToSlashes(std::move(l_Text));
  while (CollapseSlashPairs(l_Text)) {
  }
  while (l_Text.size() > 1 && l_Text.back() == '/') {
    l_Text.pop_back();
  }
  *this = FromNormal(std::move(l_Text));
}

KELInsPath KELInsPath::FromNormal(std::string iText) {
  KELInsPath l_Path;
  l_Path.m_Path = std::move(iText);
  l_Path.m_Root = (!l_Path.m_Path.empty() && l_Path.m_Path.front() == '/') ? AbsoluteRoot : NoRoot;
  return l_Path;
}

KELInsPath KELInsPath::GetParent() const {
  const std::string::size_type l_Slash = m_Path.rfind('/');
  if (l_Slash == std::string::npos || m_Path == "/") {
    return KELInsPath();
  }
  if (l_Slash == 0) {
    return FromNormal("/");
  }
  return FromNormal(m_Path.substr(0, l_Slash));
}

std::string KELInsPath::GetName() const {
  const std::string::size_type l_Slash = m_Path.rfind('/');
  return l_Slash == std::string::npos ? m_Path : m_Path.substr(l_Slash + 1);
}

KELInsPath KELInsPath::Append(const std::string& iName) const {
  if (m_Path.empty()) {
    return FromNormal(iName);
  }
  if (m_Path == "/") {
    return FromNormal("/" + iName);
  }
  return FromNormal(m_Path + "/" + iName);
}

std::string KELInsPath::ToSlashes(std::string iText) {
  for (char& l_Char : iText) {
    if (l_Char == '\\') {
      l_Char = '/';
    }
  }
  return iText;
}
