# SPDX-License-Identifier: MIT
# Provides NOFLAILSTEN_MAVLINK_INCLUDE_DIR: the class-based C++11 flavour of the generated MAVLink 2 headers for the
# common and ardupilotmega dialects. They are generated at configure time, in under a second, by a pymavlink pinned by
# hash in a virtual environment inside the build folder; -DMAVLINK_INCLUDE_DIR= takes headers made elsewhere.

set(MAVLINK_INCLUDE_DIR "" CACHE PATH "Folder that holds ardupilotmega/ardupilotmega.hpp; empty: generate the headers")

if(MAVLINK_INCLUDE_DIR)
  if(NOT EXISTS "${MAVLINK_INCLUDE_DIR}/ardupilotmega/ardupilotmega.hpp")
    message(FATAL_ERROR "MAVLINK_INCLUDE_DIR: no ardupilotmega/ardupilotmega.hpp in ${MAVLINK_INCLUDE_DIR}")
  endif()
  set(NOFLAILSTEN_MAVLINK_INCLUDE_DIR "${MAVLINK_INCLUDE_DIR}")
  return()
endif()

set(_requirements ${CMAKE_CURRENT_SOURCE_DIR}/cmake/mavlink-requirements.txt)
set(_venv ${CMAKE_BINARY_DIR}/venv)
set(_headers ${CMAKE_BINARY_DIR}/mavlink)
set(_stamp ${_headers}/generated-from.sha256)
set(NOFLAILSTEN_MAVLINK_INCLUDE_DIR "${_headers}")

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_requirements})
file(SHA256 ${_requirements} _wanted)
set(_present "")
if(EXISTS ${_stamp})
  file(READ ${_stamp} _present)
endif()
if(_present STREQUAL _wanted)
  return()
endif()

find_package(Python3 3.9 REQUIRED COMPONENTS Interpreter)

function(noflailsten_run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "MAVLink headers: ${what} failed (${result}):\n${output}")
  endif()
endfunction()

message(STATUS "MAVLink headers: generating")
file(REMOVE_RECURSE ${_headers})
noflailsten_run("creating a virtual environment (is python3-venv installed?)"
  ${Python3_EXECUTABLE} -m venv --clear ${_venv})
noflailsten_run("installing pymavlink"
  ${_venv}/bin/python -m pip install --quiet --disable-pip-version-check --require-hashes -r ${_requirements})
execute_process(COMMAND ${_venv}/bin/python -c "import pymavlink, os; print(os.path.dirname(pymavlink.__file__))"
  OUTPUT_VARIABLE _pymavlink OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
noflailsten_run("mavgen"
  ${_venv}/bin/python -m pymavlink.tools.mavgen --lang C++11 --wire-protocol 2.0 --no-validate
  -o ${_headers} ${_pymavlink}/dialects/v20/ardupilotmega.xml)
file(WRITE ${_stamp} ${_wanted})
