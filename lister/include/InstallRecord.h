// One installation found in the registry.
#ifndef InstallRecord_H
#define InstallRecord_H

#include <memory>
#include <string_view>

// Every field is text as the registry holds it. hfxLevel is "UNKNOWN" when the registry has none;
// ident is "NONE" for an installation of the common tree; path is empty when it could not be read.
// The five texts share one block behind a table of where each ends: a list of a hundred thousand
// installations then costs one small allocation each.
class InstallRecord {
 public:
  InstallRecord(std::string_view iBuildLevel, std::string_view iType, std::string_view iHfxLevel,
                std::string_view iIdent, std::string_view iPath);

  std::string_view BuildLevel() const { return Field(0); }
  std::string_view Type() const { return Field(1); }
  std::string_view HfxLevel() const { return Field(2); }
  std::string_view Ident() const { return Field(3); }
  std::string_view Path() const { return Field(4); }

 private:
  std::string_view Field(int iIndex) const;

  std::unique_ptr<char[]> m_Bytes;
};

#endif
