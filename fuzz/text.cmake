kel_fuzz_target(MORUnicodeStringFuzz ${CMAKE_CURRENT_SOURCE_DIR}/MORUnicodeStringFuzz.cpp DEPS MORSysTS00)
