# Run by cmake --install after the files are in place: the launcher link on the PATH, the
# scores.dat link into the score directory, and, for a direct install, that directory.
set(root "$ENV{DESTDIR}")
set(prefix "${CMAKE_INSTALL_PREFIX}")
if(prefix STREQUAL "/usr")
  set(scores_dir "/var/games/morvel-birds")
else()
  set(scores_dir "${prefix}/var/games/morvel-birds")
endif()

if(launcherdir STREQUAL "")
  if(prefix STREQUAL "/usr")
    set(launcherdir "games")
  else()
    set(launcherdir "${bindir}")
  endif()
endif()

# Stripped as Debian strips: the compiler's version notes go too.
set(program "${root}${prefix}/${appdir}/morvel-birds")
if(CMAKE_INSTALL_DO_STRIP AND objcopy)
  execute_process(COMMAND "${objcopy}" --remove-section=.comment "${program}")
endif()

# Relative, so the tree can be moved as a whole; the game resolves it to find its files.
set(launcher "${root}${prefix}/${launcherdir}/morvel-birds")
file(RELATIVE_PATH to_program "${prefix}/${launcherdir}" "${prefix}/${appdir}/morvel-birds")
file(MAKE_DIRECTORY "${root}${prefix}/${launcherdir}")
file(REMOVE "${launcher}")
file(CREATE_LINK "${to_program}" "${launcher}" SYMBOLIC)
message(STATUS "Installing: ${launcher} -> ${to_program}")

set(scores_link "${root}${prefix}/${appdir}/scores.dat")
file(REMOVE "${scores_link}")
file(CREATE_LINK "${scores_dir}/scores.dat" "${scores_link}" SYMBOLIC)
message(STATUS "Installing: ${scores_link} -> ${scores_dir}/scores.dat")

if(root STREQUAL "")
  execute_process(COMMAND id -u OUTPUT_VARIABLE uid OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(uid STREQUAL "0")
    execute_process(
      COMMAND sh -c ". \"$0\" && setup_shared_scores \"$1\" \"$2\" no" "${shared_scores_sh}"
              "${prefix}/${appdir}/morvel-birds" "${scores_dir}"
      RESULT_VARIABLE failed)
    if(failed)
      message(FATAL_ERROR "Could not set up the shared score directory ${scores_dir}")
    endif()
  else()
    # A private install: the table belongs to whoever installed it.
    file(MAKE_DIRECTORY "${scores_dir}")
  endif()
  message(STATUS "High scores: ${scores_dir}/scores.dat")
endif()
