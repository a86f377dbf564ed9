# SPDX-License-Identifier: Apache-2.0

# Finds the platform libraries that the core is built on: liblog, libcutils and libbase.
#
# On a Linux host the distribution keeps them apart from its own: headers in include/android, libraries in android/ under
# the multiarch folder. Defines AndroidPlatform::log, AndroidPlatform::cutils and AndroidPlatform::base.

find_path(AndroidPlatform_INCLUDE_DIR NAMES android-base/properties.h PATH_SUFFIXES android)
mark_as_advanced(AndroidPlatform_INCLUDE_DIR)

set(_android_platform_required AndroidPlatform_INCLUDE_DIR)
foreach(_name IN ITEMS log cutils base)
    find_library(AndroidPlatform_${_name}_LIBRARY NAMES ${_name} PATH_SUFFIXES android)
    mark_as_advanced(AndroidPlatform_${_name}_LIBRARY)
    list(APPEND _android_platform_required AndroidPlatform_${_name}_LIBRARY)
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(AndroidPlatform REQUIRED_VARS ${_android_platform_required})

if(AndroidPlatform_FOUND)
    foreach(_name IN ITEMS log cutils base)
        if(NOT TARGET AndroidPlatform::${_name})
            add_library(AndroidPlatform::${_name} UNKNOWN IMPORTED)
            set_target_properties(AndroidPlatform::${_name} PROPERTIES
                IMPORTED_LOCATION "${AndroidPlatform_${_name}_LIBRARY}"
                INTERFACE_INCLUDE_DIRECTORIES "${AndroidPlatform_INCLUDE_DIR}")
        endif()
    endforeach()
endif()

unset(_name)
unset(_android_platform_required)
