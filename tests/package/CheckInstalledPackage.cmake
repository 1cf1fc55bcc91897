# Steps of the installed-package test (see CMakeLists.txt next to this file), run with
# cmake -P and -DSTEP=install|consumer|pkgconfig.
cmake_minimum_required(VERSION 3.25)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT result EQUAL 0)
    string(JOIN " " command ${ARGN})
    message(FATAL_ERROR "Failed (${result}): ${command}\n${out}")
  endif()
endfunction()

function(require_file path)
  if(NOT EXISTS "${path}")
    message(FATAL_ERROR "Not installed: ${path}")
  endif()
endfunction()

# Fails when `text` (the content of `what`) mentions any of the given strings.
function(forbid what text)
  foreach(needle IN LISTS ARGN)
    string(FIND "${text}" "${needle}" found)
    if(NOT found EQUAL -1)
      message(FATAL_ERROR "${what} mentions \"${needle}\", which consumers do not have")
    endif()
  endforeach()
endfunction()

set(lib ${STAGE}/${LIBDIR})
set(include ${STAGE}/${INCLUDEDIR})
set(package_dir ${lib}/cmake/TalSDKMachines)
set(config_args "")
if(CONFIG)
  set(config_args --config ${CONFIG})
endif()

if(STEP STREQUAL "install")
  # A fresh prefix, so that files left by an earlier install cannot hide a missing one.
  file(REMOVE_RECURSE ${STAGE})
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${STAGE} ${config_args})

  # The library with its version chain: linker name -> SONAME -> real file.
  require_file(${lib}/${LIBRARY_FILE})
  foreach(link_and_target IN ITEMS "${LIBRARY_LINKER_NAME}>${LIBRARY_SONAME}"
                                   "${LIBRARY_SONAME}>${LIBRARY_FILE}")
    string(REPLACE ">" ";" pair "${link_and_target}")
    list(GET pair 0 link)
    list(GET pair 1 target)
    if(NOT IS_SYMLINK ${lib}/${link})
      message(FATAL_ERROR "Not installed as a symbolic link: ${lib}/${link}")
    endif()
    file(READ_SYMLINK ${lib}/${link} points_to)
    if(NOT points_to STREQUAL target)
      message(FATAL_ERROR "${lib}/${link} points to ${points_to}, not ${target}")
    endif()
  endforeach()

  # The static sibling layer lives inside the shared library; it is not installed on its own.
  file(GLOB_RECURSE archives ${STAGE}/*.a)
  if(archives)
    message(FATAL_ERROR "Static libraries installed: ${archives}")
  endif()

  # Installed headers reach each other as <TalSDK/...> and every such include resolves within
  # the installed include/ alone, as it must for a consumer without the source tree. A quoted
  # include would depend on the including file's folder or on a source tree.
  require_file(${include}/TalSDK/Machines.h)
  file(GLOB_RECURSE headers ${include}/*.h)
  foreach(header IN LISTS headers)
    file(STRINGS ${header} quoted REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
    if(quoted)
      message(FATAL_ERROR "${header} has a quoted include: ${quoted}")
    endif()
    file(STRINGS ${header} lines REGEX "^[ \t]*#[ \t]*include[ \t]*<TalSDK/")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE "^[^<]*<([^>]+)>.*$" "\\1" included "${line}")
      if(NOT EXISTS ${include}/${included})
        message(FATAL_ERROR "${header} includes <${included}>, which is not installed")
      endif()
    endforeach()
  endforeach()
  # Only include/ goes on a consumer's path: no generic top-level folders (sdk/, platform/).
  file(GLOB top_level RELATIVE ${include} ${include}/*)
  if(NOT top_level STREQUAL "TalSDK")
    message(FATAL_ERROR "Installed include folder holds more than TalSDK/: ${top_level}")
  endif()

  # The package files name no build-time paths and no private dependency.
  require_file(${package_dir}/TalSDKMachinesConfig.cmake)
  require_file(${package_dir}/TalSDKMachinesConfigVersion.cmake)
  require_file(${package_dir}/TalSDKMachinesTargets.cmake)
  require_file(${lib}/pkgconfig/TalSDKMachines.pc)
  file(GLOB package_files ${package_dir}/*.cmake ${lib}/pkgconfig/TalSDKMachines.pc)
  foreach(file IN LISTS package_files)
    file(READ ${file} text)
    string(REPLACE "${STAGE}" "<prefix>" text "${text}")  # the prefix is inside the build dir
    forbid(${file} "${text}" "${BUILD_DIR}/" "${SOURCE_DIR}/sdk" "${SOURCE_DIR}/src"
           "${SOURCE_DIR}/include" pugixml utf8cpp Boost TalSDK_SDK TalSDK::SDK)
  endforeach()
  file(STRINGS ${lib}/pkgconfig/TalSDKMachines.pc prefix_line REGEX "^prefix=")
  if(NOT prefix_line STREQUAL "prefix=${STAGE}")
    message(FATAL_ERROR "TalSDKMachines.pc has \"${prefix_line}\", not the install prefix")
  endif()

  # Installed programs and libraries do not look for libraries in the build tree.
  find_program(READELF readelf)
  if(READELF)
    file(GLOB elf_files ${lib}/${LIBRARY_FILE} ${STAGE}/bin/*)
    foreach(file IN LISTS elf_files)
      execute_process(COMMAND ${READELF} -d ${file} OUTPUT_VARIABLE dynamic ERROR_QUIET)
      string(REGEX MATCHALL "\\((RPATH|RUNPATH)\\)[^\n]*" paths "${dynamic}")
      forbid("The run path of ${file}" "${paths}" "${BUILD_DIR}" "${SOURCE_DIR}")
    endforeach()
  endif()

elseif(STEP STREQUAL "consumer")
  # Configured from scratch, with the staging prefix as the only place to find the package.
  file(REMOVE_RECURSE ${CONSUMER_BUILD})
  run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/consumer -B ${CONSUMER_BUILD} -G ${GENERATOR}
      -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM} -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
      -DCMAKE_BUILD_TYPE=${CONFIG} -DCMAKE_PREFIX_PATH=${STAGE}
      -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF
      "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
  file(STRINGS ${CONSUMER_BUILD}/CMakeCache.txt found_dir REGEX "^TalSDKMachines_DIR:")
  if(NOT found_dir MATCHES ":PATH=${package_dir}$")
    message(FATAL_ERROR "The consumer found the package elsewhere: ${found_dir}")
  endif()
  run(${CMAKE_COMMAND} --build ${CONSUMER_BUILD} ${config_args})

elseif(STEP STREQUAL "pkgconfig")
  set(ENV{PKG_CONFIG_PATH} ${lib}/pkgconfig)
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs TalSDKMachines
                  RESULT_VARIABLE result OUTPUT_VARIABLE flags ERROR_VARIABLE error
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "pkg-config --cflags --libs TalSDKMachines failed:\n${error}")
  endif()
  separate_arguments(flags UNIX_COMMAND "${flags}")
  foreach(expected IN ITEMS "-I${include}" "-L${lib}" "-lTalSDK.Machines")
    if(NOT expected IN_LIST flags)
      message(FATAL_ERROR "pkg-config gives \"${flags}\", without ${expected}")
    endif()
  endforeach()
  if("-I${include}/TalSDK" IN_LIST flags)
    message(FATAL_ERROR "pkg-config puts include/TalSDK on the include path: \"${flags}\"")
  endif()

  # The flags alone are enough to build the consumer (the run path stands in for ldconfig).
  cmake_path(GET CONSUMER_BUILD PARENT_PATH out_dir)
  set(out_dir ${out_dir}/pkgconfig-consumer)
  file(REMOVE_RECURSE ${out_dir})
  file(MAKE_DIRECTORY ${out_dir})
  separate_arguments(cxx_flags UNIX_COMMAND "${CXX_FLAGS}")
  separate_arguments(link_flags UNIX_COMMAND "${LINK_FLAGS}")
  run(${CXX_COMPILER} -std=c++20 ${cxx_flags} ${SOURCE_DIR}/examples/consumer/main.cpp
      -o ${out_dir}/talsdk_consumer ${flags} ${link_flags} -Wl,-rpath,${lib})

else()
  message(FATAL_ERROR "Unknown STEP \"${STEP}\"")
endif()
