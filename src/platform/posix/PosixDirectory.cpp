// The file service's listing: the pattern's directory listed by the host's one
// listing, letters matched without regard to case, hidden files left out.
#include "platform/posix/PosixServices.h"

bool PosixFileService::listDirectory(const LightweightString<wchar_t>& pattern, std::vector<DirectoryEntry>& out, int filesOnly,
                                     int) {
    const std::wstring_view full = pattern.view();
    const size_t slash = full.rfind(L'/');
    const LightweightString<wchar_t> dir(slash == std::wstring_view::npos ? L"." : full.substr(0, slash + 1));
    const LightweightString<wchar_t> wildcard(slash == std::wstring_view::npos ? full : full.substr(slash + 1));
    const unsigned kinds = filesOnly ? eListFiles : (eListFiles | eListDirectories);
    return listDirectoryEntries(dir, wildcard.empty() ? LightweightString<wchar_t>(L"*") : wildcard,
                                kinds | eMatchAnyCase | eSkipHidden, out);
}
