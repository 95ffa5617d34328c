# zu_sbom(PROGRAM): writes PROGRAM.spdx.json beside the program, an SPDX 2.3 bill of materials of what is linked into it.
# The same script, run by the build with -DPROGRAM=..., writes the file.

if(NOT CMAKE_SCRIPT_MODE_FILE)
  # What the compiler's C and C++ libraries say of themselves; musl has no macro for its version.
  file(WRITE ${PROJECT_BINARY_DIR}/sbom.cpp "#include <string>\n")
  separate_arguments(sbom_flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} ${sbom_flags} -E -dM ${PROJECT_BINARY_DIR}/sbom.cpp
    OUTPUT_VARIABLE sbom_macros ERROR_QUIET)
  function(zu_macro name result)
    string(REGEX MATCH "#define ${name} ([0-9]+)" found "${sbom_macros}")
    set(${result} "${CMAKE_MATCH_1}" PARENT_SCOPE)
  endfunction()

  function(zu_sbom program)
    zu_macro(__GLIBC__ glibc_major)
    zu_macro(__GLIBC_MINOR__ glibc_minor)
    zu_macro(_GLIBCXX_RELEASE libstdcxx)
    get_target_property(link ${program} LINK_OPTIONS)
    add_custom_command(TARGET ${program} POST_BUILD VERBATIM COMMAND ${CMAKE_COMMAND}
      -DPROGRAM=$<TARGET_FILE:${program}> -DVERSION=${PROJECT_VERSION} -DSTATIC=$<IN_LIST:-static-pie,${link}>$<IN_LIST:-static,${link}>
      -DSTATIC_CXX=$<NOT:$<OR:$<CONFIG:Debug>,$<BOOL:${BUILD_SHARED_LIBS}>>>
      -DGLIBC=${glibc_major}.${glibc_minor} -DLIBSTDCXX=${libstdcxx}
      -P ${CMAKE_CURRENT_FUNCTION_LIST_FILE})
  endfunction()
  return()
endif()

get_filename_component(name ${PROGRAM} NAME)
file(SHA256 ${PROGRAM} checksum)
string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC) # SOURCE_DATE_EPOCH, where that is set
set(relationship DYNAMIC_LINK)
set(cxx_relationship DYNAMIC_LINK)
if(STATIC MATCHES 1)
  set(relationship STATIC_LINK)
endif()
if(STATIC MATCHES 1 OR STATIC_CXX)
  set(cxx_relationship STATIC_LINK)
endif()
if(GLIBC STREQUAL ".")
  set(c_library "musl" "NOASSERTION" "MIT")
else()
  set(c_library "glibc" "${GLIBC}" "LGPL-2.1-or-later")
endif()

set(packages "")
set(relationships "")
function(describe id version licence relationship)
  string(APPEND packages ",
    {\"SPDXID\": \"SPDXRef-${id}\", \"name\": \"${id}\", \"versionInfo\": \"${version}\", \"downloadLocation\": \"NOASSERTION\",
     \"filesAnalyzed\": false, \"licenseConcluded\": \"${licence}\", \"licenseDeclared\": \"${licence}\", \"copyrightText\": \"NOASSERTION\"}")
  string(APPEND relationships ",
    {\"spdxElementId\": \"SPDXRef-program\", \"relationshipType\": \"${relationship}\", \"relatedSpdxElement\": \"SPDXRef-${id}\"}")
  set(packages "${packages}" PARENT_SCOPE)
  set(relationships "${relationships}" PARENT_SCOPE)
endfunction()
describe(${c_library} ${relationship})
describe(libstdcxx "${LIBSTDCXX}" "GPL-3.0-or-later WITH GCC-exception-3.1" ${cxx_relationship})
describe(libgcc "${LIBSTDCXX}" "GPL-3.0-or-later WITH GCC-exception-3.1" ${cxx_relationship})

file(WRITE ${PROGRAM}.spdx.json "{
  \"spdxVersion\": \"SPDX-2.3\", \"dataLicense\": \"CC0-1.0\", \"SPDXID\": \"SPDXRef-DOCUMENT\", \"name\": \"${name} ${VERSION}\",
  \"documentNamespace\": \"https://savesettings.invalid/spdx/${name}-${VERSION}-${checksum}\",
  \"creationInfo\": {\"created\": \"${created}\", \"creators\": [\"Tool: CMake-${CMAKE_VERSION}\"]},
  \"packages\": [
    {\"SPDXID\": \"SPDXRef-program\", \"name\": \"${name}\", \"versionInfo\": \"${VERSION}\", \"downloadLocation\": \"NOASSERTION\",
     \"filesAnalyzed\": false, \"checksums\": [{\"algorithm\": \"SHA256\", \"checksumValue\": \"${checksum}\"}],
     \"licenseConcluded\": \"MIT\", \"licenseDeclared\": \"MIT\", \"copyrightText\": \"NOASSERTION\"}${packages}],
  \"relationships\": [
    {\"spdxElementId\": \"SPDXRef-DOCUMENT\", \"relationshipType\": \"DESCRIBES\", \"relatedSpdxElement\": \"SPDXRef-program\"}${relationships}]
}
")
