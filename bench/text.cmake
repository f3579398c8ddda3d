kel_bench(MORUnicodeStringBench ${CMAKE_CURRENT_SOURCE_DIR}/MORUnicodeStringBench.cpp DEPS MORSysTS00)
