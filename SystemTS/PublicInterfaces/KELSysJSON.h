// A JSON document: parses a text into tokens, then builds a value tree from them or walks them with
// traversal callbacks. A document is reusable: each parse keeps the token array (and its capacity)
// of the one before, so parsing many texts with one document allocates only when a text needs more
// tokens than any before it.
//
//   KELSysJSON l_JSON;
//   KELSysJSONValue l_Root;
//   if (l_JSON.Parse(l_Text.data(), l_Text.size()) == KEL_S_OK && l_JSON.Build(l_Root) == KEL_S_OK)
//     l_Path = l_Root.GetObject().Lookup("Path");
//
// The build trace lines go to the channel "KELSysJSON" at debug level when the environment enables it.
// No operation recurses. Texts and trees nested more than 1000 levels deep are refused, with a line
// on that channel.
#ifndef KELSysJSON_H
#define KELSysJSON_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "KELSysJSONArray.h"
#include "KELSysJSONObject.h"
#include "KELSysJSONPair.h"
#include "KELSysJSONToken.h"
#include "KELSysJSONTraverse.h"
#include "KELSysJSONValue.h"
#include "KELSysResult.h"

class KELSysTrace;
class KELSysJSONTokenBlock;

class KELSysJSON {
 public:
  KELSysJSON();
  ~KELSysJSON();
  KELSysJSON(const KELSysJSON&) = delete;
  KELSysJSON& operator=(const KELSysJSON&) = delete;

  // Tokenizes iText (iLength bytes, or up to its first NUL). The text must stay unchanged until the
  // Build or GetToken calls that read it are done. Returns KEL_S_OK; KEL_E_INVALIDARG for a null
  // text (or one over 2 GiB); KEL_E_OUTOFMEMORY when the token array cannot be had or grown (a
  // fresh document given a text under two bytes has room for no token and fails this way too);
  // KEL_E_FAIL for a malformed text, reported to iErrors (when given) at error level as
  // "JSON parsing error at position %u".
  KELSysResult Parse(const char* iText, size_t iLength, KELSysTrace* iErrors = nullptr);

  // Fills oRoot from the first token of the last successful parse and whatever it contains.
  // Primitives read as: true, false, null; null when 64 bytes or longer; a double (strtod) when
  // they hold ",", "." or "e"; else an integer (strtoull, base 10, kept as its signed 64-bit bits,
  // so "-5" is -5, a bare word 0, "1E5" 1). Returns KEL_S_OK; KEL_E_FAIL (oRoot left null) when no
  // token was parsed or the structure is rejected: an object member whose key is not a string, a
  // key without a value, a container whose built members do not match its token count, or one
  // inside 1000 others (colons can chain closed containers below each other: "[[]:[]:...]");
  // KEL_E_OUTOFMEMORY (oRoot left null).
  KELSysResult Build(KELSysJSONValue& oRoot);

  // Parse and Build in one, with the same result and the same tree, but without keeping a token
  // per token of the text: a reader that wants the tree only, of a text of any shape, pays for
  // little more than the tree. The text may be discarded afterwards. Unlike Parse, a short text
  // never fails for want of token room. Short texts go through the token array, so a Read may
  // replace the tokens of an earlier Parse.
  //
  // iBudget bounds what the read may take besides the text: the tree's blocks and the reading's
  // own storage, weighed before anything is built (within 1/32 for what the ends of the tree's
  // chunks leave unused, and a few kilobytes for the walk, whose depth is bounded). A text that
  // would take more yields KEL_E_OUTOFMEMORY, as a read that ran out of memory does.
  KELSysResult Read(const char* iText, size_t iLength, KELSysJSONValue& oRoot, KELSysTrace* iErrors = nullptr,
                    size_t iBudget = SIZE_MAX);

  // Whether Read would take iText within iBudget, found without building anything (Read's first
  // pass alone): KEL_S_OK, KEL_E_OUTOFMEMORY when it would take more (or memory ran out), KEL_E_FAIL
  // for a text that is not well formed or holds no value, KEL_E_INVALIDARG as Read.
  KELSysResult Weigh(const char* iText, size_t iLength, size_t iBudget);

  // Parses iText and walks its tokens calling iCallbacks in document order, with the same
  // reading of primitives and the same checks as Build. Returns the Parse result when it fails,
  // else KEL_S_OK, or KEL_E_FAIL when the structure is rejected or a callback answered false.
  KELSysResult Traverse(const char* iText, size_t iLength, KELSysJSONTraverse& iCallbacks,
                        KELSysTrace* iErrors = nullptr);
  // The same with the document's own traversal object (KEL_E_INVALIDARG when it has none).
  KELSysResult Traverse(const char* iText, size_t iLength, KELSysTrace* iErrors = nullptr);
  // Hands the document a traversal object that it keeps and destroys with itself.
  void SetTraverse(std::unique_ptr<KELSysJSONTraverse> iCallbacks);

  // Tokens of the last successful parse.
  uint32_t GetTokenCount() const;
  // Room in the token array, in tokens (0 before the first parse and after a failed one).
  uint32_t GetTokenCapacity() const;
  // KEL_S_OK, or KEL_E_INVALIDARG past the last token.
  KELSysResult GetToken(uint32_t iIndex, KELSysJSONToken& oToken) const;

 private:
  struct Work;
  // What building the parsed tokens would take, with the token array, and a bound of it that costs
  // no look at the tokens.
  size_t TokenCost() const;
  size_t TokenCostBound(size_t iLength) const;

  std::unique_ptr<KELSysJSONTokenBlock> m_Tokens;  // token array, its capacity and count, tokenizer state
  std::unique_ptr<Work> m_Work;                    // walk stacks, reused by every build and traversal
  const char* m_Text = nullptr;                    // text of the last parse
  std::string m_Scratch;                           // token texts copied out for the trace lines
  KELSysTrace* m_Trace = nullptr;                  // the "KELSysJSON" channel, null when off
  std::unique_ptr<KELSysJSONTraverse> m_Traverse;
};

#endif
