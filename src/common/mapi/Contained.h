// Where exceptions of work end and are reported: at exports, at thread bodies, and at the stages of an operation after
// which the next one still has to run.
#pragma once
#include "common/errors/errors.h"

// Runs work. An exception is reported under the name and line of `here`, and `afterException` is the result.
template <class Result, class Work> Result Contained(const Here &here, Result afterException, Work &&work) noexcept
{
    try {
        return work();
    } catch (...) {
        ReportException("OrlMapi32", here.szFunction, here.nLine);
        return afterException;
    }
}

// The same for work without a result.
template <class Work> void Contained(const Here &here, Work &&work) noexcept
{
    try {
        work();
    } catch (...) {
        ReportException("OrlMapi32", here.szFunction, here.nLine);
    }
}
