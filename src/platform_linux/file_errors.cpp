#include "platform_linux/file_errors.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace kelvaris {

namespace {

using Code = FileError::Code;

struct CodeOfNumber {
    int number;
    Code code;
};
constexpr CodeOfNumber codes[] = {
    {ENOENT, Code::notFound},         {EACCES, Code::permissionDenied}, {EPERM, Code::permissionDenied},
    {ENOSPC, Code::noSpace},          {EDQUOT, Code::noSpace},          {EEXIST, Code::alreadyExists},
    {ENOTEMPTY, Code::alreadyExists}, {ENOTDIR, Code::notADirectory},   {EISDIR, Code::isADirectory},
    {EXDEV, Code::crossesDevices},    {EROFS, Code::readOnly},          {EFBIG, Code::tooLarge},
    {EWOULDBLOCK, Code::inUse},
};

}  // namespace

Unexpected<FileError> systemFailure(int errorNumber) {
    Code code = Code::other;
    for (const CodeOfNumber& row : codes) {
        if (row.number == errorNumber) code = row.code;
    }
    return Unexpected(FileError{code, std::generic_category().message(errorNumber)});
}

Descriptor::~Descriptor() {
    if (number_ >= 0) close(number_);
}

}  // namespace kelvaris
