// A file-system path value: normalised text with "/" as the only separator, plus a root marker.
#ifndef KELInsPath_H
#define KELInsPath_H

#include <string>
#include <string_view>

class KELInsPath {
 public:
  // Separators the library knows: the path separator and the path-list separator of this system,
  // and their counterparts in paths written for the other family of systems.
  static constexpr std::string_view Separator = "/";
  static constexpr std::string_view ListSeparator = ":";
  static constexpr std::string_view ForeignSeparator = "\\";
  static constexpr std::string_view ForeignListSeparator = ";";

  // Root markers.
  static constexpr int AbsoluteRoot = 0;
  static constexpr int NoRoot = -1;

  KELInsPath() = default;

  // Normalises iText: strips one pair of enclosing double quotes (or else single quotes), turns every
  // backslash into a slash, collapses runs of slashes and drops trailing slashes ("/" stays "/").
  // The root marker is AbsoluteRoot when the result begins with "/", NoRoot otherwise (also when empty).
  explicit KELInsPath(const std::string& iText);

  const std::string& GetText() const { return m_Path; }
  int GetRoot() const { return m_Root; }
  bool IsEmpty() const { return m_Path.empty(); }

  // The path without its last component: "/a" for "/a/b", "/" for "/a", "a" for "a/b"; empty for
  // "/", for a single relative component and for an empty path.
  KELInsPath GetParent() const;

  // The last component: "b" for "/a/b", "" for "/" and for an empty path.
  std::string GetName() const;

  // This path followed by one more component. iName is taken verbatim (a directory entry may hold
  // characters that normalisation would rewrite, such as a backslash).
  KELInsPath Append(const std::string& iName) const;

  // iText with every backslash turned into a slash and nothing else changed.
  static std::string ToSlashes(std::string iText);

 private:
  // Adopts text that is already normal.
  static KELInsPath FromNormal(std::string iText);

  std::string m_Path;
  int m_Root = NoRoot;
};

#endif
