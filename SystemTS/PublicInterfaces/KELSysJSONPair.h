// A member of a JSON object: a key (raw bytes, exactly as stored, at most 4 GiB - 1 of them) and a
// value held by value. An empty key takes no memory.
#ifndef KELSysJSONPair_H
#define KELSysJSONPair_H

#include <cstdint>
#include <string>
#include <string_view>

#include "KELSysJSONBase.h"
#include "KELSysJSONValue.h"

class KELSysJSONPair : public KELSysJSONBase {
 public:
  KELSysJSONPair() = default;
  // Throw std::bad_alloc, also for a key of more than 4 GiB - 1 bytes.
  KELSysJSONPair(std::string_view iKey, const KELSysJSONValue& iValue);
  KELSysJSONPair(std::string_view iKey, KELSysJSONValue&& iValue);
  KELSysJSONPair(const KELSysJSONPair& iOther);
  KELSysJSONPair(KELSysJSONPair&& iOther) noexcept;
  KELSysJSONPair& operator=(const KELSysJSONPair& iOther);
  KELSysJSONPair& operator=(KELSysJSONPair&& iOther) noexcept;
  ~KELSysJSONPair() override {
    if (m_Key) FreeKey();
  }

  std::string_view GetKey() const { return {m_Key ? m_Key : "", m_KeyLength}; }
  // KEL_S_OK, or KEL_E_OUTOFMEMORY with the pair unchanged (also for more than 4 GiB - 1 bytes).
  KELSysResult SetKey(std::string_view iKey);
  KELSysJSONValue& GetValue() { return m_Value; }
  const KELSysJSONValue& GetValue() const { return m_Value; }

  using KELSysJSONBase::Write;
  // "\"" key "\":" value, no blank around the colon; see KELSysJSONBase::Write.
  KELSysResult Write(std::string& oOut, bool iCompact, const std::string& iIndent) const override;

 private:
  friend class KELSysJSONTree;
  friend class KELSysJSONBuilder;
  // A copy of iKey's bytes, null when empty. Throws std::bad_alloc.
  static const char* CopyKey(std::string_view iKey);
  void FreeKey() noexcept;
  void Swap(KELSysJSONPair& ioOther) noexcept;

  // The value comes first: should copying the key fail, the constructed value is destroyed.
  KELSysJSONValue m_Value;
  const char* m_Key = nullptr;
  uint32_t m_KeyLength = 0;
};

#endif
