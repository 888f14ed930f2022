# SPDX-License-Identifier: MIT
# cmake -DBUILD=... -DSOURCE=... -DLIBRARY=... -DCOMPILER=... -DFLAGS=... -P run.cmake: installs the build into a folder of its own and
# builds and runs the outside project with nothing but that folder.
set(scratch ${BUILD}/package-test)
file(REMOVE_RECURSE ${scratch})
foreach(step
    "${CMAKE_COMMAND};--install;${BUILD};--prefix;${scratch}/prefix"
    "${CMAKE_COMMAND};-S;${SOURCE};-B;${scratch}/build;-G;Ninja;-DCMAKE_PREFIX_PATH=${scratch}/prefix;-DCMAKE_CXX_COMPILER=${COMPILER};-DCMAKE_CXX_FLAGS=${FLAGS}"
    "${CMAKE_COMMAND};--build;${scratch}/build"
    "${scratch}/build/outside;${scratch}/prefix/${LIBRARY}"
    "${scratch}/prefix/bin/noflailsten-host;--version"
    "${scratch}/prefix/bin/noflailsten-sim;--version")
  execute_process(COMMAND ${step} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
