kel_bench(KELRegBench ${CMAKE_CURRENT_SOURCE_DIR}/KELRegBench.cpp DEPS KELRegTool)
