# SPDX-License-Identifier: Apache-2.0

# Debian's cross compiler for the device's processor; what it builds runs in user-mode emulation.
#
# The libraries are the distribution's own for arm64, found under the multiarch folder like the host's.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64)
