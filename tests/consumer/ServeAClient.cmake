# Installs what is built, moves it elsewhere, builds clients against it and runs them.

function(run name)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE out)
    if(NOT code EQUAL 0)
        message(FATAL_ERROR "${name} ended with ${code}:\n${out}")
    endif()
    set(output "${out}" PARENT_SCOPE)
endfunction()

function(expect what expected)
    if(NOT output STREQUAL expected)
        message(FATAL_ERROR "${what}: expected \"${expected}\", got \"${output}\"")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK})
run("installing" ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/installed)
# A package that knows its first place would not survive this.
file(RENAME ${WORK}/installed ${WORK}/package)
set(package ${WORK}/package)

foreach(file
        ${BINDIR}/filterbase
        ${MANDIR}/man1/filterbase.1
        ${DATADIR}/bash-completion/completions/filterbase)
    if(NOT EXISTS ${package}/${file})
        message(FATAL_ERROR "${file} is not installed")
    endif()
endforeach()

# The command finds its libraries.
set(catalogue ${WORK}/catalogue.db)
set(filterbase ${package}/${BINDIR}/filterbase --catalogue ${catalogue})
run("importing" ${filterbase} import ${SOURCE}/samples)
expect("importing" "8 files, 43 nodedefs
filters: 23 new, 0 updated, 0 unchanged, 0 removed; 0 refused
")

# A client that sees every header, beside the one of the documentation.
file(GLOB_RECURSE headers RELATIVE ${package}/${INCLUDEDIR}/tesk ${package}/${INCLUDEDIR}/tesk/*.h)
list(LENGTH headers count)
if(count LESS 50)
    message(FATAL_ERROR "only ${count} headers are installed")
endif()
list(TRANSFORM headers REPLACE "(.+)" "#include <\\1>")
list(JOIN headers "\n" includes)
file(WRITE ${WORK}/generated/AllHeaders.cpp "${includes}\n")

foreach(client ${SOURCE}/examples/host ${SOURCE}/tests/consumer/project)
    cmake_path(GET client FILENAME name)
    run("configuring ${name}" ${CMAKE_COMMAND} -S ${client} -B ${WORK}/${name} -G ${GENERATOR}
        -DCMAKE_PREFIX_PATH=${package} -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_BUILD_TYPE=Debug
        -DGENERATED=${WORK}/generated)
    run("building ${name}" ${CMAKE_COMMAND} --build ${WORK}/${name})
endforeach()

run("the host" ${WORK}/host/host ${catalogue} Weave)
expect("the host" "Weave: 4 types, 0 usages\n")
run("the consumer" ${WORK}/project/consumer ${SOURCE}/samples)
expect("the consumer" "8 files, 43 nodedefs, 23 filters\n")
