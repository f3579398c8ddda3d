// For tests only: moves the registry's system root, normally "/etc/.Quorvane", to a folder of the
// test's own, in this process. The hives 5 and 7 then live in iRoot/HKCR and iRoot/HKLM (the
// current-user hive follows HOME, which tests set instead). nullptr restores the fixed root. Not
// thread-safe: call it while no key is being opened.
#ifndef KELSysRegTestRoot_H
#define KELSysRegTestRoot_H

void KELSysRegSetRootForTest(const char* iRoot);

#endif
