// Key file texts of the shapes that cost a reader the most per byte: one token every two or three
// bytes, deep nesting, wide containers of empty members. Shared by the memory tests and the
// benchmarks. Every text is a whole key file for a key named "K": its values object holds the
// shape, so what the shape costs stays held while the key is open.
#ifndef KELSysJSONShapes_H
#define KELSysJSONShapes_H

#include <cstddef>
#include <ostream>
#include <string>

enum class KELSysJSONShape {
  Strings,        // a plain key file: string values holding long paths
  Levels,         // a plain key file as the sample registry's are: levels, short paths
  NestedArrays,   // [[[[...]]]]
  NestedObjects,  // {"":{"":{...}}}
  EmptyObjects,   // [{},{},...]
  EmptyArrays,    // [[],[],...]
  SmallNumbers,   // [1,1,...]
  TrueNull,       // [true,null,...]
  ShortStrings,   // ["","",...]
  ManyMembers,    // {"":0,"":0,...} as the values object itself
  // Costlier than any of the above, and bounded by what a container costs rather than a value:
  OneMemberArrays,  // [[1],[1],...]
  NestedChains,     // [[[...[1]...]]],...] a hundred levels each
  ColonChain,       // "v":1:1:1:... (the tokenizer hangs each token below the one before it)
  // The costliest texts a budget of 14 n still reads: one of the two above beside a long string,
  // at the share that keeps the whole within it.
  MixedArrays,  // ["xx...x",[1],[1],...]
  MixedChains,  // ["xx...x",[[[...[1]...]]],...]
};

inline constexpr KELSysJSONShape KELSysJSONAllShapes[] = {
    KELSysJSONShape::Strings,       KELSysJSONShape::Levels,       KELSysJSONShape::NestedArrays,
    KELSysJSONShape::NestedObjects, KELSysJSONShape::EmptyObjects, KELSysJSONShape::EmptyArrays,
    KELSysJSONShape::SmallNumbers,  KELSysJSONShape::TrueNull,     KELSysJSONShape::ShortStrings,
    KELSysJSONShape::ManyMembers,
};

// Shapes whose containers of one member cost more than a value each.
inline constexpr KELSysJSONShape KELSysJSONContainerShapes[] = {
    KELSysJSONShape::OneMemberArrays, KELSysJSONShape::NestedChains, KELSysJSONShape::ColonChain};

inline constexpr KELSysJSONShape KELSysJSONMixedShapes[] = {KELSysJSONShape::MixedArrays,
                                                            KELSysJSONShape::MixedChains};

inline const char* KELSysJSONShapeName(KELSysJSONShape iShape) {
  static const char* const s_Names[] = {"Strings",      "Levels",      "NestedArrays",    "NestedObjects",
                                        "EmptyObjects", "EmptyArrays", "SmallNumbers",    "TrueNull",
                                        "ShortStrings", "ManyMembers", "OneMemberArrays", "NestedChains",
                                        "ColonChain",   "MixedArrays", "MixedChains"};
  return s_Names[static_cast<int>(iShape)];
}

inline void PrintTo(KELSysJSONShape iShape, std::ostream* oOut) { *oOut << KELSysJSONShapeName(iShape); }

// A key file of the shape for key "K", at most iSize bytes (iSize 64 or more) and within a
// repeated unit of it.
inline std::string KELSysJSONShapeText(KELSysJSONShape iShape, size_t iSize) {
  const std::string l_Head = "{\"Version\":\"1.0\",\"K\":{";
  std::string l_Text = l_Head;
  l_Text.reserve(iSize + 64);
  switch (iShape) {
    case KELSysJSONShape::Strings:
      for (unsigned l_Index = 0; l_Text.size() + 70 < iSize; ++l_Index) {
        if (l_Index) l_Text += ',';
        const std::string l_Serial = std::to_string(1000000 + l_Index).substr(1);
        l_Text += "\"Value" + l_Serial + "\":[3,\"/opt/Quorvane/Q4/B426/Desktop/inst_" + l_Serial + "/lib\"]";
      }
      return l_Text + "}}";
    case KELSysJSONShape::Levels:
      for (unsigned l_Index = 0; l_Text.size() + 100 < iSize; ++l_Index) {
        if (l_Index) l_Text += ',';
        const std::string l_Serial = std::to_string(1000000 + l_Index).substr(1);
        l_Text += "\"GAlevel" + l_Serial + "\":[3,\"B4" + l_Serial.substr(4) + "\"],\"Path" + l_Serial +
                  "\":[3,\"/opt/Quorvane/Common\"],\"SPlevel" + l_Serial + "\":[3,\"4" + l_Serial.substr(4) +
                  ".2\"]";
      }
      return l_Text + "}}";
    case KELSysJSONShape::NestedArrays: {
      const size_t l_Depth = (iSize - l_Head.size() - 8) / 2;
      l_Text += "\"v\":";
      l_Text.append(l_Depth, '[');
      l_Text.append(l_Depth, ']');
      return l_Text + "}}";
    }
    case KELSysJSONShape::NestedObjects: {
      const size_t l_Depth = (iSize - l_Head.size() - 2) / 5;
      for (size_t l_Level = 0; l_Level < l_Depth; ++l_Level) l_Text += "\"\":{";
      l_Text.append(l_Depth, '}');
      return l_Text + "}}";
    }
    case KELSysJSONShape::ColonChain:
      l_Text += "\"v\":1";
      while (l_Text.size() + 2 + 2 <= iSize) l_Text += ":1";
      return l_Text + "}}";
    case KELSysJSONShape::ManyMembers:
      l_Text += "\"\":0";
      while (l_Text.size() + 5 + 2 <= iSize) l_Text += ",\"\":0";
      return l_Text + "}}";
    default:
      break;
  }
  const std::string l_Chain = std::string(100, '[') + "1" + std::string(100, ']');
  if (iShape == KELSysJSONShape::MixedArrays || iShape == KELSysJSONShape::MixedChains) {
    // A unit costs its items and blocks and 8 bytes of counts a container; the string a byte a byte.
    // The string's length s for u bytes of units costing c: c + s = 13.5 (u + s).
    const bool l_Arrays = iShape == KELSysJSONShape::MixedArrays;
    const std::string l_Unit = l_Arrays ? ",[1]" : "," + l_Chain;
    const double l_UnitCost = l_Arrays ? 24 + 80 + 8 : 24 + 100 * (80 + 8);
    const double l_PerUnit = static_cast<double>(l_Unit.size());
    const double l_String = (l_UnitCost - 13.5 * l_PerUnit) / 12.5;  // string bytes a unit
    const size_t l_Units =
        static_cast<size_t>(static_cast<double>(iSize - l_Head.size() - 16) / (l_PerUnit + l_String));
    l_Text +=
        "\"v\":[\"" + std::string(static_cast<size_t>(l_String * static_cast<double>(l_Units)), 'x') + "\"";
    for (size_t l_Index = 0; l_Index < l_Units; ++l_Index) l_Text += l_Unit;
    return l_Text + "]}}";
  }
  const char* l_Unit = iShape == KELSysJSONShape::OneMemberArrays ? "[1]"
                       : iShape == KELSysJSONShape::NestedChains  ? l_Chain.c_str()
                       : iShape == KELSysJSONShape::EmptyObjects  ? "{}"
                       : iShape == KELSysJSONShape::EmptyArrays   ? "[]"
                       : iShape == KELSysJSONShape::SmallNumbers  ? "1"
                       : iShape == KELSysJSONShape::TrueNull      ? "true,null"
                                                                  : "\"\"";
  l_Text += "\"v\":[";
  l_Text += l_Unit;
  const std::string l_Next = std::string(",") + l_Unit;
  while (l_Text.size() + l_Next.size() + 3 <= iSize) l_Text += l_Next;
  return l_Text + "]}}";
}

#endif
