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

// The documents are written a record at a time: each record becomes its element (or object),
// which is turned into text and dropped, so no tree of the whole list is ever held. The text is
// exactly that of the writers for the whole tree: the root's children are indented by one unit, and
// the members of the compact JSON text are separated by ", ".
class DocumentText {
 public:
  explicit DocumentText(std::ostream& oStream) : m_Stream(oStream) {}
  std::string& Text() { return m_Text; }
  // Hands the text over in blocks, so the stream sees few large writes.
  void Flush(std::size_t iAbove = 1 << 16) {
    if (m_Text.size() < iAbove) return;
    m_Stream.write(m_Text.data(), static_cast<std::streamsize>(m_Text.size()));
    m_Text.clear();
  }

 private:
  std::ostream& m_Stream;
  std::string m_Text;
};

void WriteXml(InstallList& ioList, std::ostream& oStream) {
  DocumentText l_Out(oStream);
  XML::Writer l_Writer;
  l_Out.Text().append(XML::Declaration).append("\n<installs").append(ioList.empty() ? "/>" : ">");
  for (InstallRecord& l_Record : ioList) {
    std::shared_ptr<XML::Element> l_Install = XML::CreateElement(std::string("install"));
    l_Install->SetAttribute("buildLevel", l_Record.buildLevel);
    l_Install->SetAttribute("type", l_Record.type);
    l_Install->SetAttribute("ident", l_Record.ident);
    l_Install->SetAttribute("hfxLevel", l_Record.hfxLevel);
    l_Install->SetAttribute("path", l_Record.path);
    l_Out.Text().append("\n  ").append(l_Writer.ToString(*l_Install, false));
    l_Record = InstallRecord();
    l_Out.Flush();
  }
  if (!ioList.empty()) l_Out.Text().append("\n</installs>");
  l_Out.Flush(0);
}

// On standard output the document follows an empty line; in a file it does not.
void WriteJson(InstallList& ioList, std::ostream& oStream, bool iLeadingLine) {
  DocumentText l_Out(oStream);
  l_Out.Text().append(iLeadingLine ? "\n" : "").append("{\"installs\": [");
  for (InstallRecord& l_Record : ioList) {
    std::shared_ptr<JSON::Value> l_Install = JSON::CreateObject();
    JSON::Object& l_Members = l_Install->GetObjectValues();
    l_Members.Add("buildLevel", JSON::CreateString(std::move(l_Record.buildLevel), true));
    l_Members.Add("type", JSON::CreateString(std::move(l_Record.type), true));
    l_Members.Add("ident", JSON::CreateString(std::move(l_Record.ident), true));
    l_Members.Add("hfxLevel", JSON::CreateString(std::move(l_Record.hfxLevel), true));
    l_Members.Add("path", JSON::CreateString(std::move(l_Record.path), true));
    if (&l_Record != &ioList.front()) l_Out.Text().append(", ");
    l_Install->Serialize(l_Out.Text());
    l_Out.Flush();
  }
  l_Out.Text().append("]}\n");
  l_Out.Flush(0);
  oStream.flush();
}

// Runs the discovery, then writes the document with iWrite(list, stream, to standard output) to oOut
// or to the output file, and returns the count (0 when the file cannot be opened).
template <class W>
int64_t WriteDocument(const InstallQuery& iQuery, std::ostream& oOut, std::ostream& oErr, W&& iWrite) {
  InstallList l_List = DiscoverInstalls(iQuery);
  const auto l_Count = static_cast<int64_t>(l_List.size());
  if (iQuery.outputPath.empty()) {
    iWrite(l_List, oOut, true);
    return l_Count;
  }
  std::unique_ptr<std::ofstream> l_File = OpenOutput(iQuery.outputPath, oErr);
  if (!l_File) return 0;
  iWrite(l_List, *l_File, false);
  return l_Count;
}

}  // namespace

int64_t WriteInstallsXml(const InstallQuery& iQuery, std::ostream& oOut, std::ostream& oErr) {
  return WriteDocument(iQuery, oOut, oErr,
                       [](InstallList& ioList, std::ostream& oStream, bool) { WriteXml(ioList, oStream); });
}

int64_t WriteInstallsJson(const InstallQuery& iQuery, std::ostream& oOut, std::ostream& oErr) {
  return WriteDocument(iQuery, oOut, oErr, WriteJson);
}
