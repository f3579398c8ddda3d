// The framework's hive identifier of a KELInsRegKey hive code (any unknown code is the local machine).
#ifndef KELInsRegHive_H
#define KELInsRegHive_H

#include <cstdint>

#include "KELInsRegKey.h"
#include "KELSysRegKey.h"

inline int KELInsRegHiveId(int32_t iHive) {
  switch (iHive) {
    case KELInsRegKey::HiveClassesRoot:
      return KELSysRegHiveClassesRoot;
    case KELInsRegKey::HiveCurrentUser:
      return KELSysRegHiveCurrentUser;
    default:
      return KELSysRegHiveLocalMachine;
  }
}

#endif
