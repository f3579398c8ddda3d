#include "WriteInstalls.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "DiscoverInstalls.h"
#include "JSON.h"
#include "XML.h"

namespace {

// Opens iPath for writing as a text file, creating or truncating it. On failure says why on oErr and
// returns nothing.
std::unique_ptr<std::ofstream> OpenOutput(const std::string& iPath, std::ostream& oErr) {
  errno = 0;
  auto l_File = std::make_unique<std::ofstream>(iPath, std::ios::out | std::ios::trunc);
  if (l_File->is_open()) return l_File;
  const int l_Errno = errno;
  // A null text from strerror puts oErr in the failed state and loses the rest of the line; that
  // is all the handling it gets.
  oErr << "Opening file " << iPath << " failed: " << std::strerror(l_Errno) << std::endl;
  return nullptr;
}

// Each record leaves the list as soon as the document holds its text, so that the memory of a long
// list goes to the document as it grows instead of adding to it.
std::shared_ptr<XML::Element> BuildXml(InstallList&& ioList) {
  std::shared_ptr<XML::Element> l_Root = XML::CreateElement(std::string("installs"));
  for (; !ioList.empty(); ioList.pop_front()) {
    const InstallRecord& l_Record = ioList.front();
    std::shared_ptr<XML::Element> l_Install = XML::CreateElement(std::string("install"));
    l_Install->SetAttribute("buildLevel", l_Record.BuildLevel());
    l_Install->SetAttribute("type", l_Record.Type());
    l_Install->SetAttribute("ident", l_Record.Ident());
    l_Install->SetAttribute("hfxLevel", l_Record.HfxLevel());
    l_Install->SetAttribute("path", l_Record.Path());
    l_Root->AddChild(std::move(l_Install));
  }
  return l_Root;
}

std::shared_ptr<JSON::Value> BuildJson(InstallList&& ioList) {
  JSON::Driver l_Driver;
  l_Driver.BeginObject();
  l_Driver.AddMember("installs", JSON::CreateArray());
  for (; !ioList.empty(); ioList.pop_front()) {
    const InstallRecord& l_Record = ioList.front();
    l_Driver.AddElement(JSON::CreateObject());
    l_Driver.AddMember("buildLevel", JSON::CreateString(std::string(l_Record.BuildLevel()), true));
    l_Driver.AddMember("type", JSON::CreateString(std::string(l_Record.Type()), true));
    l_Driver.AddMember("ident", JSON::CreateString(std::string(l_Record.Ident()), true));
    l_Driver.AddMember("hfxLevel", JSON::CreateString(std::string(l_Record.HfxLevel()), true));
    l_Driver.AddMember("path", JSON::CreateString(std::string(l_Record.Path()), true));
    l_Driver.End();
  }
  l_Driver.End();
  return l_Driver.GetRoot();
}

// The text goes to the stream as the writer makes it: a long list is never held twice, as a tree
// and as one string.
void WriteJsonText(const JSON::Value& iRoot, bool iLeadingLine, std::ostream& oStream) {
  if (iLeadingLine) oStream.put('\n');
  iRoot.Serialize(oStream);
  oStream.put('\n');
  oStream.flush();
}

}  // namespace

int64_t WriteInstallsXml(const InstallQuery& iQuery, std::ostream& oOut, std::ostream& oErr) {
  InstallList l_List = DiscoverInstalls(iQuery);
  const auto l_Count = static_cast<int64_t>(l_List.size());
  std::shared_ptr<XML::Element> l_Root = BuildXml(std::move(l_List));
  XML::Writer l_Writer;
  if (iQuery.outputPath.empty()) {
    l_Writer.Write(*l_Root, oOut);
    return l_Count;
  }
  std::unique_ptr<std::ofstream> l_File = OpenOutput(iQuery.outputPath, oErr);
  if (!l_File) return 0;
  l_Writer.Write(*l_Root, *l_File);
  return l_Count;
}

int64_t WriteInstallsJson(const InstallQuery& iQuery, std::ostream& oOut, std::ostream& oErr) {
  InstallList l_List = DiscoverInstalls(iQuery);
  const auto l_Count = static_cast<int64_t>(l_List.size());
  std::shared_ptr<JSON::Value> l_Root = BuildJson(std::move(l_List));
  // On standard output the document follows an empty line; in a file it does not.
  if (iQuery.outputPath.empty()) {
    WriteJsonText(*l_Root, true, oOut);
    return l_Count;
  }
  std::unique_ptr<std::ofstream> l_File = OpenOutput(iQuery.outputPath, oErr);
  if (!l_File) return 0;
  WriteJsonText(*l_Root, false, *l_File);
  return l_Count;
}
