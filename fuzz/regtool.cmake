kel_fuzz_target(KELRegDocumentFuzz ${CMAKE_CURRENT_SOURCE_DIR}/KELRegDocumentFuzz.cpp DEPS KELRegTool)
