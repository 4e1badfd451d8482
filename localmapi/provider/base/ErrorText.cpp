// What codes mean in words, and how an exception becomes the code and the text that a client gets.
#include "localmapi/provider/base/ErrorText.h"
#include "ExchangeMapi.h"
#include "localmapi/provider/base/Memory.h"
#include "localmapi/provider/base/StorageErrors.h"
#include "localmapi/provider/base/Text.h"

#include <new>

namespace localmapi
{

namespace
{

constexpr std::size_t kRemembered = 8;

struct CodeText {
    HRESULT code;
    const char *text;
};

const CodeText kCodeTexts[] = {
    {MAPI_E_CALL_FAILED, "The operation failed."},
    {MAPI_E_NOT_ENOUGH_MEMORY, "There is not enough memory."},
    {MAPI_E_INVALID_PARAMETER, "An argument is not valid."},
    {MAPI_E_INTERFACE_NOT_SUPPORTED, "The object does not have the interface that was asked for."},
    {MAPI_E_NO_ACCESS, "The user has no right to do this."},
    {MAPI_E_NO_SUPPORT, "The operation is not supported."},
    {MAPI_E_BAD_CHARWIDTH, "Text of this width is not supported."},
    {MAPI_E_STRING_TOO_LONG, "A text is too long."},
    {MAPI_E_UNKNOWN_FLAGS, "A flag is not known."},
    {MAPI_E_INVALID_ENTRYID, "The entry identifier is not valid."},
    {MAPI_E_INVALID_OBJECT, "The object is no longer valid."},
    {MAPI_E_OBJECT_CHANGED, "The object was changed by someone else since it was opened."},
    {MAPI_E_OBJECT_DELETED, "The object was deleted."},
    {MAPI_E_BUSY, "The site file is busy."},
    {MAPI_E_NOT_ENOUGH_DISK, "There is not enough space on the disk."},
    {MAPI_E_STORE_FULL, "There is no room in the mailbox."},
    {MAPI_E_NOT_ENOUGH_RESOURCES, "There are not enough resources."},
    {MAPI_E_NOT_FOUND, "The object was not found."},
    {MAPI_E_VERSION, "The version is not supported."},
    {MAPI_E_LOGON_FAILED, "The logon failed."},
    {MAPI_E_NETWORK_ERROR, "The server was not found."},
    {MAPI_E_DISK_ERROR, "The site file can not be read or written."},
    {MAPI_E_TOO_COMPLEX, "The request is too complex."},
    {MAPI_E_BAD_COLUMN, "A column can not be used here."},
    {MAPI_E_COMPUTED, "The property is computed and can not be changed."},
    {MAPI_E_CORRUPT_DATA, "The data is damaged."},
    {MAPI_E_UNCONFIGURED, "The message service is not configured."},
    {MAPI_E_UNKNOWN_CPID, "The code page is not supported."},
    {MAPI_E_UNKNOWN_ENTRYID, "The entry identifier is of another site or provider."},
    {MAPI_E_MISSING_REQUIRED_COLUMN, "A column that is required is missing."},
    {MAPI_E_BAD_VALUE, "A value is not valid."},
    {MAPI_E_INVALID_TYPE, "A property type is not valid."},
    {MAPI_E_TYPE_NO_SUPPORT, "A property type is not supported."},
    {MAPI_E_UNEXPECTED_TYPE, "A property has an unexpected type."},
    {MAPI_E_TOO_BIG, "The data is too big."},
    {MAPI_E_UNABLE_TO_COMPLETE, "The operation could not be completed."},
    {MAPI_E_TIMEOUT, "The operation timed out."},
    {MAPI_E_TABLE_TOO_BIG, "The table has more rows than were asked for."},
    {MAPI_E_INVALID_BOOKMARK, "The bookmark is not valid."},
    {MAPI_E_CORRUPT_STORE, "The site file is damaged."},
    {MAPI_E_COLLISION, "An object of this name exists."},
    {MAPI_E_NOT_INITIALIZED, "MAPI is not initialised."},
    {MAPI_E_NO_RECIPIENTS, "The message has no recipients."},
    {MAPI_E_SUBMITTED, "The message was submitted already."},
    {MAPI_E_HAS_FOLDERS, "The folder holds folders."},
    {MAPI_E_HAS_MESSAGES, "The folder holds messages."},
    {MAPI_E_FOLDER_CYCLE, "A folder can not hold itself."},
    {MAPI_E_AMBIGUOUS_RECIP, "A recipient's name has several matches."},
};

template <class Char> TCHAR *TextInto(void *root, std::basic_string_view<Char> text)
{
    return reinterpret_cast<TCHAR *>(CopyText(root, text));
}

} // namespace

void Require(bool condition, const char *what)
{
    if (!condition)
        throw Failure(MAPI_E_INVALID_PARAMETER, std::string("The argument is not valid: ") + what + ".");
}

void RequireFlags(ULONG flags, ULONG known)
{
    if (flags & ~known)
        throw Failure(MAPI_E_UNKNOWN_FLAGS, "A flag is not known: " + HexText(flags & ~known) + ".");
}

void NoSupport(const char *what)
{
    throw Failure(MAPI_E_NO_SUPPORT, std::string("Not supported by localmapi: ") + what + ".");
}

void Check(HRESULT code, const char *what)
{
    if (FAILED(code))
        throw Failure(code, std::string(what) + ": " + DescribeCode(code));
}

const char *DescribeCode(HRESULT code) noexcept
{
    for (const CodeText &known : kCodeTexts)
        if (known.code == code)
            return known.text;
    return "The operation failed.";
}

Failure CurrentFailure()
{
    try {
        throw;
    } catch (const Failure &failure) {
        return failure;
    } catch (const std::bad_alloc &) {
        return Failure(MAPI_E_NOT_ENOUGH_MEMORY, DescribeCode(MAPI_E_NOT_ENOUGH_MEMORY));
    } catch (const std::exception &exception) {
        return FailureOfStorage(exception);
    } catch (...) {
        return Failure(MAPI_E_CALL_FAILED, DescribeCode(MAPI_E_CALL_FAILED));
    }
}

HRESULT ErrorTexts::Remember(const char *method, const Failure &failure) noexcept
{
    try {
        std::string text = std::string(method) + ": " + failure.Text();
        const locks::Hold hold(m_lock);
        m_entries.remove_if([&](const Entry &entry) { return entry.code == failure.Code(); });
        m_entries.push_front({failure.Code(), std::move(text), failure.LowLevel()});
        if (m_entries.size() > kRemembered)
            m_entries.pop_back();
    } catch (...) {
        // Without memory there is a code and no text.
    }
    return failure.Code();
}

HRESULT ErrorTexts::RememberCurrent(const char *method) noexcept
{
    try {
        return Remember(method, CurrentFailure());
    } catch (...) {
        return MAPI_E_NOT_ENOUGH_MEMORY;
    }
}

HRESULT ErrorTexts::GetLastError(HRESULT code, ULONG flags, MAPIERROR **error) noexcept
{
    if (!error)
        return MAPI_E_INVALID_PARAMETER;
    *error = nullptr;
    if (flags & ~MAPI_UNICODE)
        return MAPI_E_UNKNOWN_FLAGS;
    return Guarded([&]() -> HRESULT {
        Entry found{};
        {
            const locks::Hold hold(m_lock);
            for (const Entry &entry : m_entries)
                if (entry.code == code) {
                    found = entry;
                    break;
                }
        }
        if (found.text.empty())
            return S_OK;
        auto block = NewRoot<MAPIERROR>();
        block->ulVersion = MAPI_ERROR_VERSION;
        block->ulLowLevelError = found.lowLevel;
        constexpr std::string_view kComponent = "localmapi";
        if (flags & MAPI_UNICODE) {
            block->lpszError = TextInto<WCHAR>(block.get(), WideFromUtf8(found.text));
            block->lpszComponent = TextInto<WCHAR>(block.get(), WideFromUtf8(kComponent));
        } else {
            block->lpszError = TextInto<char>(block.get(), AnsiFromUtf8(found.text));
            block->lpszComponent = TextInto<char>(block.get(), kComponent);
        }
        *error = block.release();
        return S_OK;
    });
}

} // namespace localmapi
