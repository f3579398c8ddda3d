// Builds and writes a result document of 100,000 installations, as the lister does: XML with five
// attributes per install element, and the same records as compact JSON. Each iteration builds the
// tree, writes it to a stream that discards the bytes, and frees the tree. With the Debian packages
// libpugixml-dev and rapidjson-dev the same documents are built and written with pugixml and
// RapidJSON's DOM in the same run, for comparison.
#include <benchmark/benchmark.h>

#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

#include "JSON.h"
#include "XML.h"

#ifdef KEL_HAVE_PUGIXML
#include <pugixml.hpp>
#endif
#ifdef KEL_HAVE_RAPIDJSON
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#endif

namespace {

constexpr int kRecords = 100000;

struct Record {
  std::string m_BuildLevel;
  std::string m_Type;
  std::string m_HfxLevel;
  std::string m_Ident;
  std::string m_Path;
};

// Values shaped like real registrations: short levels, a type, an identifier, an install path.
const std::vector<Record>& Records() {
  static const std::vector<Record> s_Records = [] {
    const char* const l_Types[] = {"Desktop", "Server", "Studio", "Runtime"};
    std::vector<Record> l_Records;
    for (int l_Index = 0; l_Index < kRecords; ++l_Index) {
      const std::string l_Level = "B4" + std::to_string(18 + l_Index % 8);
      const std::string l_Type = l_Types[l_Index % 4];
      const std::string l_Serial = std::to_string(100000 + l_Index).substr(1);
      l_Records.push_back({l_Level, l_Type, std::to_string(l_Index % 13), l_Type + "_" + l_Serial,
                           "/opt/Quorvane/Q4/" + l_Level + "/" + l_Type + "/inst_" + l_Serial});
    }
    return l_Records;
  }();
  return s_Records;
}

// Counts what it is given and keeps nothing, so that only building and writing are measured.
class DiscardBuffer : public std::streambuf {
 public:
  std::size_t m_Bytes = 0;

 protected:
  std::streamsize xsputn(const char*, std::streamsize iCount) override {
    m_Bytes += static_cast<std::size_t>(iCount);
    return iCount;
  }
  int_type overflow(int_type iChar) override {
    ++m_Bytes;
    return iChar;
  }
};

template <class Fill>
void Run(benchmark::State& ioState, Fill iFill) {
  DiscardBuffer l_Buffer;
  std::ostream l_Out(&l_Buffer);
  for (auto _ : ioState) iFill(l_Out);
  ioState.counters["bytes"] = static_cast<double>(l_Buffer.m_Bytes / ioState.iterations());
}

void XmlKEL(benchmark::State& ioState) {
  Run(ioState, [](std::ostream& oOut) {
    std::shared_ptr<XML::Element> l_Root = XML::CreateElement(std::string("installs"));
    for (const Record& l_Record : Records()) {
      std::shared_ptr<XML::Element> l_Install = XML::CreateElement(std::string("install"));
      l_Install->SetAttribute("buildLevel", l_Record.m_BuildLevel);
      l_Install->SetAttribute("type", l_Record.m_Type);
      l_Install->SetAttribute("ident", l_Record.m_Ident);
      l_Install->SetAttribute("hfxLevel", l_Record.m_HfxLevel);
      l_Install->SetAttribute("path", l_Record.m_Path);
      l_Root->AddChild(std::move(l_Install));
    }
    XML::Writer().Write(*l_Root, oOut);
  });
}
BENCHMARK(XmlKEL)->Unit(benchmark::kMillisecond);

void JsonKEL(benchmark::State& ioState) {
  Run(ioState, [](std::ostream& oOut) {
    std::shared_ptr<JSON::Value> l_Root = JSON::CreateObject();
    std::shared_ptr<JSON::Value> l_Installs = JSON::CreateArray();
    l_Root->GetObjectValues().Add("installs", l_Installs);
    JSON::Array& l_Array = l_Installs->GetArrayValues();
    for (const Record& l_Record : Records()) {
      std::shared_ptr<JSON::Value> l_Install = JSON::CreateObject();
      JSON::Object& l_Object = l_Install->GetObjectValues();
      l_Object.Add("buildLevel", JSON::CreateString(l_Record.m_BuildLevel, true));
      l_Object.Add("type", JSON::CreateString(l_Record.m_Type, true));
      l_Object.Add("ident", JSON::CreateString(l_Record.m_Ident, true));
      l_Object.Add("hfxLevel", JSON::CreateString(l_Record.m_HfxLevel, true));
      l_Object.Add("path", JSON::CreateString(l_Record.m_Path, true));
      l_Array.Add(std::move(l_Install));
    }
    l_Root->Serialize(oOut);
  });
}
BENCHMARK(JsonKEL)->Unit(benchmark::kMillisecond);

#ifdef KEL_HAVE_PUGIXML
void XmlPugixml(benchmark::State& ioState) {
  Run(ioState, [](std::ostream& oOut) {
    pugi::xml_document l_Document;
    pugi::xml_node l_Declaration = l_Document.append_child(pugi::node_declaration);
    l_Declaration.append_attribute("version") = "1.0";
    l_Declaration.append_attribute("encoding") = "UTF-8";
    pugi::xml_node l_Root = l_Document.append_child("installs");
    for (const Record& l_Record : Records()) {
      pugi::xml_node l_Install = l_Root.append_child("install");
      l_Install.append_attribute("buildLevel") = l_Record.m_BuildLevel.c_str();
      l_Install.append_attribute("type") = l_Record.m_Type.c_str();
      l_Install.append_attribute("ident") = l_Record.m_Ident.c_str();
      l_Install.append_attribute("hfxLevel") = l_Record.m_HfxLevel.c_str();
      l_Install.append_attribute("path") = l_Record.m_Path.c_str();
    }
    l_Document.save(oOut, "  ", pugi::format_default, pugi::encoding_utf8);
  });
}
BENCHMARK(XmlPugixml)->Unit(benchmark::kMillisecond);
#endif

#ifdef KEL_HAVE_RAPIDJSON
void JsonRapidJSON(benchmark::State& ioState) {
  Run(ioState, [](std::ostream& oOut) {
    rapidjson::Document l_Document;
    l_Document.SetObject();
    rapidjson::Document::AllocatorType& l_Allocator = l_Document.GetAllocator();
    rapidjson::Value l_Array(rapidjson::kArrayType);
    auto l_String = [&](const std::string& iText) {
      return iText.empty() ? rapidjson::Value() : rapidjson::Value(iText.c_str(), iText.size(), l_Allocator);
    };
    for (const Record& l_Record : Records()) {
      rapidjson::Value l_Install(rapidjson::kObjectType);
      l_Install.AddMember("buildLevel", l_String(l_Record.m_BuildLevel), l_Allocator);
      l_Install.AddMember("type", l_String(l_Record.m_Type), l_Allocator);
      l_Install.AddMember("ident", l_String(l_Record.m_Ident), l_Allocator);
      l_Install.AddMember("hfxLevel", l_String(l_Record.m_HfxLevel), l_Allocator);
      l_Install.AddMember("path", l_String(l_Record.m_Path), l_Allocator);
      l_Array.PushBack(l_Install, l_Allocator);
    }
    l_Document.AddMember("installs", l_Array, l_Allocator);
    rapidjson::StringBuffer l_Text;
    rapidjson::Writer<rapidjson::StringBuffer> l_Writer(l_Text);
    l_Document.Accept(l_Writer);
    oOut.write(l_Text.GetString(), static_cast<std::streamsize>(l_Text.GetSize()));
  });
}
BENCHMARK(JsonRapidJSON)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
