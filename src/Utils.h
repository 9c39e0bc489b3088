// The only writers of standard output.
//
// There are two kinds of line: log lines, for people, and host messages, framed and checksummed.
// Each line is passed on under the standard stream's lock, so that lines of the two threads never
// mix, and is one write to the host's pipe, if there is room. If not, the rest waits in memory
// (Output.h), and the call returns all the same. Any thread may call these functions.
#pragma once

#include <cstdint>
#include <string_view>

class Payload;

// Writes "<@hh:mm:ss.mmm : msg>" with the local time; "<" and ">" in msg become "&inf;" and
// "&sup;". Any bytes are accepted. more: the rest of the message, so that the two need not be put
// together first. A line of more than 64 KiB takes several writes, all under the lock.
void writeLine(std::string_view msg, std::string_view more = {});

// Writes "<msgXXXX>", XXXX being calcCrc(msg) in upper-case hexadecimal. The message is not escaped
// and has to be ASCII.
void sendQuelmar(std::string_view msg);

// The same, framing the message in place; it cannot be used again.
void sendQuelmar(Payload& message);

// CRC-16/CCITT-FALSE (polynomial 1021, initial value FFFF, nothing reflected, no final
// exclusive-or) of an ASCII text, in which "\r\n" counts as one line feed: "123456789" gives 29B1.
std::uint32_t calcCrc(std::string_view msg);
