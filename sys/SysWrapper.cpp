// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "PF_SYS_WRAPPER"

#include "sys/SysWrapper.h"

#include "sys/Log.h"
#include "sys/NodeIo.h"

#include <cutils/trace.h>

#include <cerrno>
#include <cstring>

// The platform header declares these inside its inline functions only.
extern "C" {
void atrace_begin_body(char const* label);
void atrace_end_body();
}

namespace {

/** The text of an errno value, held for the length of one log statement. */
class ErrorText {
public:
    explicit ErrorText(int error) : text(Pick(strerror_r(error, buffer, OFFERED))) {}

    char const* c_str() const { return text; }

private:
    // strerror_r returns an int or a pointer, according to the C library; overloading takes either.
    char const* Pick(int) const { return buffer; }
    static char const* Pick(char const* text) { return text; }

    static constexpr size_t OFFERED = 50;
    char buffer[OFFERED + 1] = {};
    char const* text;
};

/** @param errnoBefore what errno is set to after a success. */
bool WriteAll(int fd, void const* data, size_t size, int errnoBefore)
{
    if (NodeIo::Write(fd, data, size) != static_cast<ssize_t>(size)) {
        return false;
    }
    errno = errnoBefore;
    return true;
}

bool OpenIfClosed(char const* method, std::string const& name, std::string const& path, int& fd)
{
    if (fd >= 0) {
        return true;
    }
    fd = SysWrapper::SysOpenWithWrOnly(path);
    if (fd < 0) {
        int const error = errno;
        PF_LOGE_AS(method, "[%s:%d] [%s] open file %s failed, errno=%d (%s) \n", name.c_str(), path.c_str(), error,
                   ErrorText(error).c_str());
        return false;
    }
    return true;
}

} // namespace

int SysWrapper::SysOpenWithWrOnly(std::string const& path)
{
    return NodeIo::Open(path);
}

void SysWrapper::SysClose(int& fd)
{
    if (fd >= 0) {
        NodeIo::Close(fd);
        fd = -1;
    }
}

int SysWrapper::SysOpenAndWriteUint(std::string const& name, std::string const& path, int value, int& fd)
{
    int const errnoBefore = errno;
    if (!OpenIfClosed(__func__, name, path, fd)) {
        return -1;
    }
    if (WriteAll(fd, &value, sizeof(value), errnoBefore)) {
        return 0;
    }
    int const error = errno;
    PF_LOGE("[%s:%d] [%s] %d write to %s failed, errno=%d (%s) \n", name.c_str(), value, path.c_str(), error,
            ErrorText(error).c_str());
    SysClose(fd);
    return -1;
}

int SysWrapper::SysOpenAndWriteStr(std::string const& name, std::string const& path, std::string const& value, int& fd)
{
    int const errnoBefore = errno;
    if (!OpenIfClosed(__func__, name, path, fd)) {
        return -1;
    }
    if (WriteAll(fd, value.data(), value.size(), errnoBefore)) {
        return 0;
    }
    int error = errno;
    if (error != ENODEV) {
        PF_LOGW("[%s:%d] [%s] %s write to %s failed, errno=%d (%s) \n", name.c_str(), value.c_str(), path.c_str(),
                error, ErrorText(error).c_str());
        SysClose(fd);
        return -1;
    }

    PF_LOGD("[%s:%d] [%s] %s write to %s failed, errno=%d (%s) \n", name.c_str(), value.c_str(), path.c_str(), error,
            ErrorText(error).c_str());
    NodeIo::Close(fd);
    fd = SysOpenWithWrOnly(path);
    if (fd < 0) {
        error = errno;
        PF_LOGE("[%s:%d] [%s] %s second open file [%s] failed, errno=%d (%s) \n", name.c_str(), value.c_str(),
                path.c_str(), error, ErrorText(error).c_str());
        return -1;
    }
    if (WriteAll(fd, value.data(), value.size(), errnoBefore)) {
        return 0;
    }
    error = errno;
    PF_LOGE("[%s:%d] [%s] %s second write to %s failed, errno=%d (%s) \n", name.c_str(), value.c_str(), path.c_str(),
            error, ErrorText(error).c_str());
    SysClose(fd);
    return -1;
}

void SysWrapper::SysTraceName(std::string const& label)
{
    if (IsSysTraceEnabled()) {
        atrace_begin_body(label.c_str());
        atrace_end_body();
    }
}

bool SysWrapper::IsSysTraceEnabled()
{
    if (!atrace_is_ready) {
        atrace_setup();
    }
    return (atrace_enabled_tags & ATRACE_TAG_GRAPHICS) != 0;
}

std::string SysWrapper::PutTime(tm const& time)
{
    return std::to_string(time.tm_mon) + "-" + std::to_string(time.tm_mday) + " " + std::to_string(time.tm_hour) + ":" +
           std::to_string(time.tm_min) + ":" + std::to_string(time.tm_sec);
}
