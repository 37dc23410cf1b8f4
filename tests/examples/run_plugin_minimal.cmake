# Registers the minimal plug-in into a fresh hive and runs its host against
# that hive. Fails when either program fails.
file(REMOVE ${HIVE} ${HIVE}-journal ${HIVE}-wal ${HIVE}-shm)
execute_process(COMMAND ${KOVREG} --hive ${HIVE} import ${REG_FILE} RESULT_VARIABLE imported)
if(NOT imported EQUAL 0)
  message(FATAL_ERROR "kovreg import failed: ${imported}")
endif()
set(ENV{NEV_REGISTRY} ${HIVE})
execute_process(COMMAND ${HOST} RESULT_VARIABLE ran)
if(NOT ran EQUAL 0)
  message(FATAL_ERROR "the host failed: ${ran}")
endif()
