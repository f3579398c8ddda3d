# The framework JSON library: parse+build, the tokenizer alone and the compact writer, side by side
# with RapidJSON's DOM when rapidjson-dev is installed. Every heap block is counted: operator new is
# replaced in the benchmark, and malloc, calloc and realloc are wrapped at link time. Also: a registry
# key whose file has one of the costly shapes, opened and closed, with the peak memory of an open.
kel_bench(KELSysJSONBench ${CMAKE_CURRENT_SOURCE_DIR}/KELSysJSONBench.cpp DEPS MORSysTS03 KELSysRegistry)
if(TARGET KELSysJSONBench)
  target_link_options(KELSysJSONBench PRIVATE -Wl,--wrap=malloc -Wl,--wrap=calloc -Wl,--wrap=realloc)
  # The replaced operator delete hands blocks back with free: the pairing is deliberate.
  target_compile_options(KELSysJSONBench PRIVATE -Wno-mismatched-new-delete)
endif()
