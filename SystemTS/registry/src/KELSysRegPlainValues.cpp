#include "KELSysRegPlainValues.h"

#include "KELSysRegKey.h"

namespace {

// Up to this many values are taken (each name is compared with every other one).
constexpr size_t k_MostValues = 16;

// A [type, data] pair as far as the queries look: how many elements, and the first three.
struct Pair {
  size_t m_Count = 0;
  bool m_Number[3] = {};
  unsigned m_Value[3] = {};
  std::string_view m_Text[3];
};

// A forward reader of the plain subset; every step answers false on anything outside it.
class Scan {
 public:
  explicit Scan(std::string_view iText) : m_Text(iText) {}

  bool Take(char iByte) {
    Blanks();
    if (m_At == m_Text.size() || m_Text[m_At] != iByte) return false;
    ++m_At;
    return true;
  }
  bool AtEnd() {
    Blanks();
    return m_At == m_Text.size();
  }
  size_t At() {
    Blanks();
    return m_At;
  }
  size_t Here() const { return m_At; }

  bool String(std::string_view& oText) {
    if (!Take('"')) return false;
    for (const size_t l_Start = m_At; m_At < m_Text.size(); ++m_At) {
      const unsigned char l_Byte = static_cast<unsigned char>(m_Text[m_At]);
      if (l_Byte == '"') {
        oText = m_Text.substr(l_Start, m_At++ - l_Start);
        return true;
      }
      if (l_Byte < 0x20 || l_Byte > 0x7E || l_Byte == '\\') return false;
    }
    return false;
  }

  // Digits without a leading zero (0 alone excepted), at most nine; what may follow is left to the
  // caller, who wants a separator.
  bool Number(unsigned& oValue) {
    Blanks();
    size_t l_Digits = 0;
    oValue = 0;
    while (m_At < m_Text.size() && m_Text[m_At] >= '0' && m_Text[m_At] <= '9' && l_Digits < 10) {
      oValue = oValue * 10 + unsigned(m_Text[m_At++] - '0');
      ++l_Digits;
    }
    return l_Digits > 0 && l_Digits < 10 && !(l_Digits > 1 && m_Text[m_At - l_Digits] == '0');
  }

  bool Array(Pair& oPair) {
    if (!Take('[')) return false;
    if (Take(']')) return true;
    do {
      unsigned l_Value = 0;
      std::string_view l_Text;
      Blanks();
      const bool l_Number = m_At < m_Text.size() && m_Text[m_At] != '"';
      if (l_Number ? !Number(l_Value) : !String(l_Text)) return false;
      if (oPair.m_Count < 3) {
        oPair.m_Number[oPair.m_Count] = l_Number;
        oPair.m_Value[oPair.m_Count] = l_Value;
        oPair.m_Text[oPair.m_Count] = l_Text;
      }
      ++oPair.m_Count;
    } while (Take(','));
    return Take(']');
  }

 private:
  void Blanks() {
    while (m_At < m_Text.size() &&
           (m_Text[m_At] == ' ' || m_Text[m_At] == '\t' || m_Text[m_At] == '\n' || m_Text[m_At] == '\r'))
      ++m_At;
  }

  std::string_view m_Text;
  size_t m_At = 0;
};

// The values object at the reader's position, its names all different.
bool Values(Scan& ioScan) {
  std::string_view l_Names[k_MostValues];
  size_t l_Count = 0;
  if (!ioScan.Take('{')) return false;
  if (ioScan.Take('}')) return true;
  do {
    std::string_view l_Name;
    Pair l_Pair;
    if (l_Count == k_MostValues || !ioScan.String(l_Name) || !ioScan.Take(':') || !ioScan.Array(l_Pair))
      return false;
    for (size_t l_Index = 0; l_Index < l_Count; ++l_Index)
      if (l_Names[l_Index] == l_Name) return false;
    l_Names[l_Count++] = l_Name;
  } while (ioScan.Take(','));
  return ioScan.Take('}');
}

}  // namespace

bool KELSysRegPlainValues(std::string_view iText, std::string_view iKey, std::string_view& oValues) {
  Scan l_Scan(iText);
  bool l_Found = false;
  if (!l_Scan.Take('{')) return false;
  do {
    std::string_view l_Name, l_Text;
    if (!l_Scan.String(l_Name) || !l_Scan.Take(':')) return false;
    if (l_Name != iKey) {
      if (!l_Scan.String(l_Text)) return false;
      continue;
    }
    const size_t l_Start = l_Scan.At();
    if (l_Found || !Values(l_Scan)) return false;
    l_Found = true;
    oValues = iText.substr(l_Start, l_Scan.Here() - l_Start);
  } while (l_Scan.Take(','));
  return l_Scan.Take('}') && l_Scan.AtEnd() && l_Found;
}

KELSysResult KELSysRegPlainString(std::string_view iValues, std::string_view iName,
                                  std::optional<std::string_view>& oValue) {
  Scan l_Scan(iValues);
  if (!l_Scan.Take('{') || l_Scan.Take('}')) return KEL_E_FAIL;
  do {
    std::string_view l_Name;
    Pair l_Pair;
    if (!l_Scan.String(l_Name) || !l_Scan.Take(':') || !l_Scan.Array(l_Pair)) return KEL_E_FAIL;
    if (l_Name != iName) continue;
    // As the tree answers: an empty pair is no failure and gives nothing, the type must be the
    // number of a string, a missing data element gives nothing, and a third element spoils the value
    // once the data is handed out.
    if (l_Pair.m_Count == 0) return KEL_S_OK;
    if (!l_Pair.m_Number[0] || l_Pair.m_Value[0] != KELSysRegTypeString) return KEL_E_FAIL;
    if (l_Pair.m_Count == 1) return KEL_S_OK;
    if (l_Pair.m_Number[1]) return KEL_E_FAIL;
    oValue = l_Pair.m_Text[1];
    return l_Pair.m_Count > 2 ? KEL_E_FAIL : KEL_S_OK;
  } while (l_Scan.Take(','));
  return KEL_E_FAIL;
}
