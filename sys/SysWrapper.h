// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <ctime>
#include <string>

/**
 * The one place that opens, writes and closes kernel nodes, emits system-trace labels and formats wall-clock times.
 *
 * No state of its own; any thread may call. A descriptor belongs to the caller, whose own rules serialise its use; any
 * negative value means "not open". The writers open it on first use and leave it open, so that a steady stream of
 * values costs one pwrite(2) each; after a failed write it is negative again and the next call reopens the node.
 *
 * Every value goes to the start of its node, in one call. Where the descriptor cannot seek (a FIFO, some character
 * devices) a write(2) follows the refused pwrite. After a success errno is what it was before.
 */
class SysWrapper {
public:
    /** @return a write-only descriptor, or negative with errno set; logs nothing. */
    static int SysOpenWithWrOnly(std::string const& path);

    /** Closes an open descriptor and sets it to -1; leaves a negative one untouched. */
    static void SysClose(int& fd);

    /**
     * Writes the four raw bytes of value, in the processor's byte order. Never retried.
     * @param name who writes; appears in messages only.
     * @return 0, or -1 after one error line.
     */
    static int SysOpenAndWriteUint(std::string const& name, std::string const& path, int value, int& fd);

    /**
     * Writes the text, without terminator or newline, in one write. ENODEV (a node created anew under the descriptor)
     * is retried once on a fresh descriptor; every other error is final. Among them is the EBUSY with which cpufreq
     * answers while the CPUs of a policy are offline.
     * @param name who writes; appears in messages only.
     * @return 0, or -1 after one warning or error line.
     */
    static int SysOpenAndWriteStr(std::string const& name, std::string const& path, std::string const& value, int& fd);

    /** Marks this moment in the system trace with a zero-length slice, while the graphics category is traced. */
    static void SysTraceName(std::string const& label);

    /** Lets a caller skip building a label that nobody would see. */
    static bool IsSysTraceEnabled();

    /** "month-day hour:minute:second" without leading zeros; the month counts from 0, as in struct tm. */
    static std::string PutTime(tm const& time);
};
