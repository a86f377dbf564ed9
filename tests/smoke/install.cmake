# Installs the library into an empty FOLDER, so that nothing of an earlier installation can help.

file(REMOVE_RECURSE "${FOLDER}")
execute_process(
    COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --config "${CONFIG}" --prefix "${FOLDER}" --component corvane
    COMMAND_ERROR_IS_FATAL ANY)
