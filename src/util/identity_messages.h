#ifndef UTIL_IDENTITY_MESSAGES_H_
#define UTIL_IDENTITY_MESSAGES_H_

namespace kiv::message {

const char* CopyrightNotice();

}  // namespace kiv::message

#endif  // UTIL_IDENTITY_MESSAGES_H_
