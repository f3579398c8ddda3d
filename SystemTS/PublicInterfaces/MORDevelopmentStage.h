// The process-wide development-stage flag: on unless the environment variable MORDevelopmentStage
// equals exactly "FALSE" (case-sensitive). The environment is read once, before main runs (or at
// the first call, if that comes earlier from another initialiser).
#ifndef MORDevelopmentStage_H
#define MORDevelopmentStage_H

class MORDevelopmentStage {
 public:
  static bool IsOn() noexcept;
};

#endif
