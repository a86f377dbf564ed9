# SPDX-License-Identifier: Apache-2.0

# Writes a source file that holds the demo's platform and script as text:
#   cmake -D PLATFORM=... -D SCRIPT=... -D OUTPUT=... -P EmbedFiles.cmake

file(READ "${PLATFORM}" _platform)
file(READ "${SCRIPT}" _script)
file(WRITE "${OUTPUT}" "#include \"tools/corvanectl/program/EmbeddedFiles.h\"

char const* const SAMPLE_PLATFORM = R\"~~~~(${_platform})~~~~\";

char const* const DEMO_SCRIPT = R\"~~~~(${_script})~~~~\";
")
