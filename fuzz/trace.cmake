kel_fuzz_target(KELSysTraceSpecFuzz ${CMAKE_CURRENT_SOURCE_DIR}/KELSysTraceSpecFuzz.cpp DEPS KELSysTrace)
