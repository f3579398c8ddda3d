// The values of a key file read without building its tree, for readers that want a few strings.
//
// Only the plainest key files are taken this way: a root object of plain strings beside exactly one
// member named after the key, an object whose members (no name twice) are arrays of plain strings
// and small numbers. A plain string holds printable ASCII only, without escapes; a small number is
// up to nine digits without sign, fraction or exponent. Blanks are those of JSON. Any other text,
// however valid, is not taken: the caller reads it with the full parser, which stays the authority.
// For a text that is taken, the answers below are those that the parsed tree gives.
#ifndef KELSysRegPlainValues_H
#define KELSysRegPlainValues_H

#include <optional>
#include <string_view>

#include "KELSysResult.h"

// Whether iText is a plain key file holding the values of key iKey; if so, oValues is the text of
// its values object, from its "{" to its "}".
bool KELSysRegPlainValues(std::string_view iText, std::string_view iKey, std::string_view& oValues);

// The string value iName of the values object iValues (as given above), as the query of a string
// value answers it from the tree: KEL_E_FAIL when it is missing, of another type or malformed. The
// text, when there is one, is handed out in oValue (left as it is otherwise), also for a value with a
// third element, which then fails.
KELSysResult KELSysRegPlainString(std::string_view iValues, std::string_view iName,
                                  std::optional<std::string_view>& oValue);

#endif
