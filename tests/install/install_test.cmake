# SPDX-License-Identifier: Apache-2.0
# Installs the build into a scratch folder, moves it, builds consumer/ against it and solves with both libraries.
cmake_minimum_required(VERSION 3.25)
set(scratch ${BUILD}/tests/install/scratch)
set(prefix ${scratch}/moved)  # neither program nor package may remember where it was installed first
file(REMOVE_RECURSE ${scratch})

# Runs a command in the scratch folder; its output is left in `output`.
function(run)
  execute_process(COMMAND ${ARGV} WORKING_DIRECTORY ${scratch} RESULT_VARIABLE status OUTPUT_VARIABLE output
                  ERROR_VARIABLE errors)
  if(NOT status EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}\nreturned ${status}\n${output}${errors}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

# The solution holds a value between lower and upper.
function(expect_value name lower upper)
  string(JSON status GET "${output}" status)
  string(JSON value GET "${output}" values ${name})
  if(NOT status STREQUAL "converged" OR value LESS lower OR value GREATER upper)
    message(FATAL_ERROR "${name}: ${value} is not between ${lower} and ${upper}\n${output}")
  endif()
endfunction()

file(MAKE_DIRECTORY ${scratch})
run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${scratch}/first)
file(RENAME ${scratch}/first ${prefix})

# sqrt(2 * 18.015 kg/kmol * 55.3 kmol/m3 * 6e5 Pa) = 34575.6 kg/m2/s
set(quiver ${EMULATOR} ${prefix}/bin/${PROGRAM})
run(${quiver} solve PSV_SIMPLE --fix "P_DROP=6 bar" --fix RHO=55.3 --fix MW=18.015 --fix AREA_RATIO=0 --json)
expect_value(FLUX 34575.6 34575.7)

if(NOT EMULATOR)  # a cross-built program wrote no pages of its own
foreach(file share/man/man1/quiver.1 share/bash-completion/completions/quiver share/zsh/site-functions/_quiver
             share/fish/vendor_completions.d/quiver.fish)
  file(SIZE ${prefix}/${file} size)
  if(size LESS 100)
    message(FATAL_ERROR "${file} is empty")
  endif()
endforeach()
endif()

set(find_quiver CMAKE_PREFIX_PATH=${prefix})
if(TOOLCHAIN)
  # It looks for packages below its own roots only.
  file(GLOB_RECURSE package ${prefix}/lib/QuiverConfig.cmake)
  get_filename_component(package ${package} DIRECTORY)
  set(find_quiver Quiver_DIR=${package})
endif()
run(${CMAKE_COMMAND} -S ${CONSUMER} -B consumer -G ${GENERATOR} -D CMAKE_CXX_COMPILER=${COMPILER} -D CMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}
    -D ${find_quiver} "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror")
run(${CMAKE_COMMAND} --build consumer)

# Torricelli: 3600 * 0.61 * pi/4 * 0.05^2 * sqrt(2 * 9.80665 * 2) = 27.0055 m3/hr
set(solve ${quiver} --library ./consumer/${LIBRARY} solve TANK_OUTLET --fix LEVEL=2 --json)
run(${solve} --fix "DIAM=50 mm")
expect_value(FLOW 27.005 27.006)
# The rim at half the level: sqrt(1/2) of the flow, and 0.97/0.61 of it through a rounded hole.
run(${solve} --fix "DIAM=50 mm" --set HEIGHT=1 --set EDGE=rounded)
expect_value(FLOW 30.364 30.366)
