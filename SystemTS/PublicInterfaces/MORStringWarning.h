// When the string class writes its warnings about lossy conversions.
//
// String warnings are active when the process-wide switch is on (it is by default) and the calling
// thread has not switched them off. The warning boxes go to standard output, so a program whose
// standard output is a document turns them off, either for the whole process:
//
//   MORStringWarning::SetProcessActive(false);
//
// or for one thread while a guard lives (guards nest):
//
//   { MORStringWarning::ThreadOff l_Quiet; ... conversions without warnings ... }
//
// The ASCII-check box is, in addition, silenced by the environment variable
// MORStringWarningSuppress (any value), read once per process.
#ifndef MORStringWarning_H
#define MORStringWarning_H

class MORStringWarning {
 public:
  static void SetProcessActive(bool iActive) noexcept;
  static bool IsProcessActive() noexcept;
  // Whether warnings are active for the calling thread.
  static bool IsActive() noexcept;
  // Whether MORStringWarningSuppress was set when first looked at.
  static bool IsASCIICheckSuppressed() noexcept;

  class ThreadOff {
   public:
    ThreadOff() noexcept;
    ~ThreadOff();
    ThreadOff(const ThreadOff&) = delete;
    ThreadOff& operator=(const ThreadOff&) = delete;
  };
};

#endif
