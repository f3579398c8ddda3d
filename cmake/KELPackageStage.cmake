# Run by CPack on the staged package tree, before it is archived (CPACK_PRE_BUILD_SCRIPTS).
# Finishes the tree as Debian's own tools would, whatever the install rules put into it:
# - every ELF file is stripped of its symbols and of the .comment and .note sections;
# - manual pages and changelogs are compressed with `gzip -9n` (no name, no time stamp);
# - when SOURCE_DATE_EPOCH is set, every time stamp is set to it, so the archive does not depend on
#   when or where the files were built.

set(l_Root "${CPACK_TEMPORARY_DIRECTORY}")
if(NOT IS_DIRECTORY "${l_Root}")
  message(FATAL_ERROR "KELPackageStage: no staged tree at '${l_Root}'")
endif()

function(kel_run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE l_Status)
  if(NOT l_Status EQUAL 0)
    string(REPLACE ";" " " l_Command "${ARGN}")
    message(FATAL_ERROR "KELPackageStage: '${l_Command}' failed (${l_Status})")
  endif()
endfunction()

file(GLOB_RECURSE l_Files LIST_DIRECTORIES false "${l_Root}/*")
foreach(l_File IN LISTS l_Files)
  if(IS_SYMLINK "${l_File}")
    continue()
  endif()
  file(READ "${l_File}" l_Magic LIMIT 4 HEX)
  if(l_Magic STREQUAL "7f454c46")
    kel_run("${CPACK_KEL_STRIP}" --remove-section=.comment --remove-section=.note --strip-unneeded
            "${l_File}")
  elseif(l_File MATCHES "/usr/share/man/.*[^z]$" OR l_File MATCHES "/usr/share/doc/[^/]+/changelog$")
    kel_run(gzip -9nf "${l_File}")
  endif()
endforeach()

if(DEFINED ENV{SOURCE_DATE_EPOCH})
  kel_run(find "${l_Root}" -depth -exec touch -h -d "@$ENV{SOURCE_DATE_EPOCH}" {} +)
endif()
