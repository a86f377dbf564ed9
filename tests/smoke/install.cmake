# SPDX-License-Identifier: Apache-2.0

# Installs the library into an empty FOLDER, so that nothing of an earlier installation can help.

file(REMOVE_RECURSE "${FOLDER}")
foreach(_component IN ITEMS runtime development)
    execute_process(
        COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --config "${CONFIG}" --prefix "${FOLDER}" --component ${_component}
        COMMAND_ERROR_IS_FATAL ANY)
endforeach()
