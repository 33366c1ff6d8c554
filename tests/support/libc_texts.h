/* SPDX-License-Identifier: MIT */
/* Texts of errors that differ between C libraries, and lines with them. */
#pragma once

#include <string>

#ifdef __GLIBC__
inline const std::string NO_ERROR = "Success";
inline const std::string NO_MEMORY = "Cannot allocate memory";
inline const std::string TOO_MANY_FILES = "Too many open files";
inline const std::string UNKNOWN_HOST = "Unknown host";
inline const std::string TRY_LATER = "Host name lookup failure";
inline const std::string SERVER_FAILED = "Unknown server error";
inline const std::string NO_RESOLVER_ERROR = "Resolver Error 0 (no error)";
inline const std::string HOST_WITHOUT_ADDRESS = "No address associated with name";
#else /* musl */
inline const std::string NO_ERROR = "No error information";
inline const std::string NO_MEMORY = "Out of memory";
inline const std::string TOO_MANY_FILES = "No file descriptors available";
inline const std::string UNKNOWN_HOST = "Host not found";
inline const std::string TRY_LATER = "Try again";
inline const std::string SERVER_FAILED = "Non-recoverable error";
inline const std::string NO_RESOLVER_ERROR = "Unknown error";
inline const std::string HOST_WITHOUT_ADDRESS = "Address not available";
#endif

/* Discovery has joined its group. */
inline const std::string JOINED = NO_ERROR + " IP_ADD_MEMBERSHIP g_thread_run 1  \n";
