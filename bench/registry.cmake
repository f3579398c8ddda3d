kel_bench(KELSysRegKeyBench ${CMAKE_CURRENT_SOURCE_DIR}/KELSysRegKeyBench.cpp DEPS KELSysRegistry)
