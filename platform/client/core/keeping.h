// Whether the client may keep on this machine what it reads and who logs in: copies of servers' data, the password for
// mounting drives. A program that looks a directory through for somebody else must leave nothing behind.
#ifndef PLATFORM_CLIENT_CORE_KEEPING_H
#define PLATFORM_CLIENT_CORE_KEEPING_H

extern bool keeping_is_off; // Set by ZKKeepNothing.

#endif
