// A member of a JSON object: a key (raw bytes, exactly as stored) and a value held by value.
#ifndef KELSysJSONPair_H
#define KELSysJSONPair_H

#include <string>
#include <string_view>
#include <utility>

#include "KELSysJSONBase.h"
#include "KELSysJSONValue.h"

class KELSysJSONPair : public KELSysJSONBase {
 public:
  KELSysJSONPair() = default;
  KELSysJSONPair(std::string_view iKey, const KELSysJSONValue& iValue) : m_Key(iKey), m_Value(iValue) {}
  KELSysJSONPair(std::string_view iKey, KELSysJSONValue&& iValue) : m_Key(iKey), m_Value(std::move(iValue)) {}
  KELSysJSONPair(const KELSysJSONPair&) = default;
  KELSysJSONPair(KELSysJSONPair&&) noexcept = default;
  KELSysJSONPair& operator=(const KELSysJSONPair&) = default;
  KELSysJSONPair& operator=(KELSysJSONPair&&) noexcept = default;
  ~KELSysJSONPair() override = default;

  const std::string& GetKey() const { return m_Key; }
  void SetKey(std::string_view iKey) { m_Key.assign(iKey.data(), iKey.size()); }
  KELSysJSONValue& GetValue() { return m_Value; }
  const KELSysJSONValue& GetValue() const { return m_Value; }

  using KELSysJSONBase::Write;
  // "\"" key "\":" value, no blank around the colon; see KELSysJSONBase::Write.
  KELSysResult Write(std::string& oOut, bool iCompact, const std::string& iIndent) const override;

 private:
  friend class KELSysJSONTree;
  std::string m_Key;
  KELSysJSONValue m_Value;
};

#endif
