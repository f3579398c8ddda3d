// Line editing of text files.
#ifndef KELInsIO_H
#define KELInsIO_H

#include <cstdint>
#include <istream>
#include <string>

class KELInsIO {
 public:
  // Replaces every occurrence of iSearched by iReplacement in the text file iFileName (backslashes
  // in the name count as slashes) and returns the number of replacements. The file is read line by
  // line and, when anything was replaced, rewritten through iFileName + "_TmpRIL": lines are then
  // joined with bare line feeds (carriage returns at line ends are dropped) and the last line gets no
  // line feed. With no replacement the file is left untouched. A file that is read-only for its owner
  // is made owner-writable for the rewrite and set back afterwards.
  // An empty iSearched returns 0 without touching anything.
  // Throws std::runtime_error "KELInsIO::ReplaceInLines: " + cause + "\nReplaced: " + iSearched +
  // "\nReplacing: " + iReplacement, the cause being "Filename is empty", "Failed to open " + path (the
  // file or the temporary file), "Failed to read " + path or "Failed to write " + temporary path.
  // Failures of the copy back, of the removal of the temporary file and of Chmod throw the
  // KELInsFileSystem exceptions; the temporary file then stays and the mode is not set back.
  static int32_t ReplaceInLines(const std::string& iFileName, const std::string& iSearched,
                                const std::string& iReplacement);

  // Reads up to the next line feed into oLine (which excludes it) and drops one carriage return
  // ending a non-empty line. Returns false, as std::getline does, when nothing could be read.
  static bool ReadLine(std::istream& ioStream, std::string& oLine);

  // Replaces every occurrence of iSearched in ioText at or after iStart by iReplacement and returns
  // the count. Searching resumes right after each inserted replacement, so inserted text is never
  // searched again and matches do not overlap. An empty iSearched replaces nothing.
  static int32_t ReplaceAll(std::string& ioText, const std::string& iSearched,
                            const std::string& iReplacement, std::string::size_type iStart = 0);

  // Lends (iRestore false) or takes back (iRestore true) the owner's write permission on iPath.
  // Returns whether the mode was changed: false when iPath cannot be examined or the owner-write bit
  // is already as wanted. Throws KELInsExceptionErrno "Chmod - " + path if the mode cannot be set.
  static bool SetOwnerWritable(const std::string& iPath, bool iRestore);
};

#endif
