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
  using enum KELSysJSONShape;
  std::string l_Text = "{\"Version\":\"1.0\",\"K\":{";
  const size_t l_Head = l_Text.size();
  // iFirst, then as many iNext as leave room for iTail, then iTail.
  auto l_Repeat = [&](const std::string& iFirst, const std::string& iNext, const std::string& iTail) {
    for (l_Text += iFirst; l_Text.size() + iNext.size() + iTail.size() <= iSize;) l_Text += iNext;
    return l_Text + iTail;
  };
  const std::string l_Chain = std::string(100, '[') + "1" + std::string(100, ']');
  switch (iShape) {
    case Strings:
    case Levels:
      for (unsigned l_Index = 0; l_Text.size() + (iShape == Strings ? 70 : 100) < iSize; ++l_Index) {
        const std::string l_Serial = std::to_string(1000000 + l_Index).substr(1),
                          l_Short = l_Serial.substr(4);
        l_Text += std::string(l_Index ? "," : "") +
                  (iShape == Strings ? "\"Value" + l_Serial + "\":[3,\"/opt/Quorvane/Q4/B426/Desktop/inst_" +
                                           l_Serial + "/lib\"]"
                                     : "\"GAlevel" + l_Serial + "\":[3,\"B4" + l_Short + "\"],\"Path" +
                                           l_Serial + "\":[3,\"/opt/Quorvane/Common\"],\"SPlevel" + l_Serial +
                                           "\":[3,\"4" + l_Short + ".2\"]");
      }
      return l_Text + "}}";
    case NestedArrays: {
      const size_t l_Depth = (iSize - l_Head - 8) / 2;
      return l_Text + "\"v\":" + std::string(l_Depth, '[') + std::string(l_Depth, ']') + "}}";
    }
    case NestedObjects: {
      const size_t l_Depth = (iSize - l_Head - 2) / 5;
      for (size_t l_Level = 0; l_Level < l_Depth; ++l_Level) l_Text += "\"\":{";
      return l_Text + std::string(l_Depth, '}') + "}}";
    }
    case ColonChain:
      return l_Repeat("\"v\":1", ":1", "}}");
    case ManyMembers:
      return l_Repeat("\"\":0", ",\"\":0", "}}");
    case MixedArrays:
    case MixedChains: {
      // A unit costs its items and blocks and 8 bytes of counts a container; the string a byte a byte.
      // The string's length s for u bytes of units costing c: c + s = 13.5 (u + s).
      const std::string l_Unit = iShape == MixedArrays ? ",[1]" : "," + l_Chain;
      const double l_UnitCost = iShape == MixedArrays ? 24 + 80 + 8 : 24 + 100 * (80 + 8);
      const double l_PerUnit = static_cast<double>(l_Unit.size());
      const double l_String = (l_UnitCost - 13.5 * l_PerUnit) / 12.5;  // string bytes a unit
      const size_t l_Units =
          static_cast<size_t>(static_cast<double>(iSize - l_Head - 16) / (l_PerUnit + l_String));
      l_Text +=
          "\"v\":[\"" + std::string(static_cast<size_t>(l_String * static_cast<double>(l_Units)), 'x') + "\"";
      for (size_t l_Index = 0; l_Index < l_Units; ++l_Index) l_Text += l_Unit;
      return l_Text + "]}}";
    }
    default: {
      const std::string l_Unit = iShape == OneMemberArrays ? "[1]"
                                 : iShape == NestedChains  ? l_Chain
                                 : iShape == EmptyObjects  ? "{}"
                                 : iShape == EmptyArrays   ? "[]"
                                 : iShape == SmallNumbers  ? "1"
                                 : iShape == TrueNull      ? "true,null"
                                                           : "\"\"";
      return l_Repeat("\"v\":[" + l_Unit, "," + l_Unit, "]}}");
    }
  }
}

#endif
