kel_bench(KELSysTraceBench ${CMAKE_CURRENT_SOURCE_DIR}/KELSysTraceBench.cpp DEPS KELSysTrace)
