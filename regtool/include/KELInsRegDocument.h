// The export document: one JSON object
//   {"Key": "<hive>\<path>", "Values": {"<name>": [type, data], ...},
//    "Subkeys": {"<name>": {"Values": {...}, "Subkeys": {...}}, ...}}
// with values in key-file order and subkeys in byte order of their names. Strings are in the
// document form of KELInsRegText.h.
#ifndef KELInsRegDocument_H
#define KELInsRegDocument_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "KELInsRegKeyName.h"
#include "KELInsRegTree.h"

// Limits of what an import accepts (and add stores): beyond them a document is refused.
inline constexpr size_t KELInsRegMaxDepth = 512;                  // key levels below the document's key
inline constexpr size_t KELInsRegMaxValueName = 16383;            // bytes of a value name
inline constexpr size_t KELInsRegMaxData = size_t(1) << 20;       // bytes of a value's data (all items)
inline constexpr size_t KELInsRegMaxDocument = size_t(64) << 20;  // bytes of a document (64 MiB)

// Writes the document of the keys it is handed (by KELInsRegWalkTree), the first one being the
// document's key, as they come: each key's text is appended to oText, which the caller may empty
// in between. After the first key's Leave, oText ends with the document and its newline.
class KELInsRegDocumentWriter final : public KELInsRegVisitor {
 public:
  explicit KELInsRegDocumentWriter(std::string& oText) : m_Text(oText) {}
  void Enter(const KELInsRegKeyName& iName, size_t iLevel,
             const std::vector<KELInsRegValue>& iValues) override;
  void Leave(size_t iLevel) override;

 private:
  std::string& m_Text;
  std::vector<bool> m_HasSubkeys;  // of the key entered last and of its parents: one was written
};

// Writes the document of the key iName holding iTree, followed by a newline.
void KELInsRegWriteDocument(std::string& oText, const KELInsRegKeyName& iName, const KELInsRegTree& iTree);

// A fault of a document: what is wrong, and the byte offset where it was found.
struct KELInsRegDocumentError {
  std::string m_What;
  size_t m_Offset = 0;
  // "LINE:COLUMN" of m_Offset in iText (both from 1; the column counts bytes).
  std::string Where(std::string_view iText) const;
};

// Reads a whole document, checking its syntax, shape, names, types and number ranges. Throws
// KELInsRegDocumentError at the first fault.
void KELInsRegParseDocument(std::string_view iText, KELInsRegKeyName& oName, KELInsRegTree& oTree);

#endif
