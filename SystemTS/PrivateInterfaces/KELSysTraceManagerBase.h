// The registry of trace channel settings, filled from KELSysTrace specifications and option files.
//
// A specification is read first with the long syntax, as a command line after a program name:
//   --name CHANNEL  --file FILE  -o|--stdout  -e|--stderr  --local-time
//   --rotate-file-size KIB  --rotate-file-count N
// (values also as "--option=value", unambiguous prefixes of option names accepted). It is accepted
// when every word is a known option with its value and at least one name is given; such a channel
// also gets a time stamp in its prefix (attribute 4). Otherwise it is read with the short syntax,
// items separated by blanks and ",;:|":
//   -E/-e standard error, -O/-o standard output, -F<file> a file (up to 63 characters),
//   -S<ident> the system log, -I<n> prefix flags, -L<n> level limit, -M<n> text limit,
//   -N time stamp, --local-time, and any other item a channel name.
// A name takes the output selected before it; options of a specification apply to all its channels.
// A specification that selects no output takes the one selected last (standard error at first). An
// unknown "-" item, a missing name or number rejects the whole specification, which is then ignored.
#ifndef KELSysTraceManagerBase_H
#define KELSysTraceManagerBase_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// Numbered channel attributes.
enum KELSysTraceAttribute : int {
  KELSysTraceAttrTimeStamp = 4,     // -N: time stamp in the prefix
  KELSysTraceAttrLevel = 8,         // -L n: only levels below n (1 errors, 2 warnings, 3 information)
  KELSysTraceAttrPrefix = 9,        // -I n: prefix flags (KELSysTracePrefixFlag bits)
  KELSysTraceAttrMaxText = 10,      // -M n: texts cut to n bytes
  KELSysTraceAttrLocalTime = 12,    // --local-time
  KELSysTraceAttrRotateCount = 13,  // --rotate-file-count
  KELSysTraceAttrRotateSize = 14,   // --rotate-file-size, in KiB
  KELSysTraceAttrCount = 16
};

enum class KELSysTraceOutputKind { Stream, System };

struct KELSysTraceSettings {
  KELSysTraceOutputKind m_Kind = KELSysTraceOutputKind::Stream;
  // "STDOUT", "STDERR", "STDOUT_COMMON" or a file name; the log identity for the system log.
  std::string m_Output = "STDERR";
  uint64_t m_Attributes[KELSysTraceAttrCount] = {};  // 0: not set

  uint64_t Get(int iAttribute) const { return m_Attributes[iAttribute]; }
};

class KELSysTraceManagerBase {
 public:
  // A specification (or option-file line) longer than this is ignored.
  static constexpr size_t kMaxSetting = 8191;
  static constexpr uint64_t kMaxRotateCount = 10000;
  static constexpr uint64_t kMaxRotateSizeKiB = uint64_t(1) << 30;

  virtual ~KELSysTraceManagerBase() = default;

  // Splits iText at ",;:|" and adds each specification. Returns how many were accepted.
  int AddSpecifications(const char* iText);
  // Adds one specification. From an option file, numbers are used only when below 12.
  bool AddSpecification(const std::string& iSpec, bool iFromFile = false);
  // The settings call: sets attribute iAttribute (1 to 15) of channel iChannel, creating its
  // settings. Returns false for an attribute out of range.
  bool SetAttribute(const std::string& iChannel, int iAttribute, uint64_t iValue);

  // Whether iName is an option file: it begins with "OPFILE." or its extension begins with
  // ".option" (seven characters compared, either case).
  static bool IsOptionFileName(const char* iName);
  // Adds every line of every option file in the folder iDir (not its subfolders). Blank lines and
  // lines beginning with "#" are skipped. Returns the number of accepted lines.
  int LoadOptionFiles(const std::string& iDir);
  int LoadOptionFile(const std::string& iPath);

  bool HasChannels() const { return !m_Channels.empty(); }
  std::vector<std::string> GetChannelNames() const;
  // The settings of channel iName, or nullptr.
  const KELSysTraceSettings* GetSettings(const std::string& iName) const;

 private:
  bool ReadLong(const std::vector<std::string>& iWords);
  bool ReadShort(const std::vector<std::string>& iItems, bool iFromFile);
  void Commit(const std::vector<std::pair<std::string, KELSysTraceSettings>>& iChannels);

  std::map<std::string, KELSysTraceSettings, std::less<>> m_Channels;
  KELSysTraceSettings m_Default;  // output carried over to specifications that select none
};

#endif
