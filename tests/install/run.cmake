# Installs the built library into a directory of its own, builds the consumer against it, shared or static, and runs it.
# Needs BUILD_DIR, SOURCE_DIR, WORK_DIR, SHARED, COMPILER, GENERATOR.
function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGV}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix
    -G ${GENERATOR} -DBUILD_SHARED_LIBS=${SHARED} -DCMAKE_CXX_COMPILER=${COMPILER})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)
if(NOT output STREQUAL "[1,\"two\",true]\n")
  message(FATAL_ERROR "the consumer printed ${output}")
endif()
file(REMOVE_RECURSE ${WORK_DIR})
