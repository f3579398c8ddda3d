# The framework JSON writer's two forms: bytes, and the MORUnicodeString form.
kel_bench(KELSysJSONWriteBench ${CMAKE_CURRENT_SOURCE_DIR}/KELSysJSONWriteBench.cpp DEPS MORSysTS03)
