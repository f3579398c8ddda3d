kel_fuzz_target(KELSysRegKeyFileFuzz ${CMAKE_CURRENT_SOURCE_DIR}/KELSysRegKeyFileFuzz.cpp DEPS KELSysRegistry)
if(KEL_FUZZ)
  # Inputs up to the key file size limit. One read may cost at most 16 bytes a byte plus 1 MiB, 17 MiB
  # at the limit, which the target checks for every input under AddressSanitizer; no single block may
  # come near 64 MiB, nor the whole process near 1 GiB.
  target_compile_definitions(KELSysRegKeyFileFuzz PRIVATE
      KEL_FUZZ_FLAGS="-max_len=1048576 -malloc_limit_mb=64 -rss_limit_mb=1024")
endif()
