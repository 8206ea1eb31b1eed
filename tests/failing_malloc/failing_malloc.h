/* An allocator that can be told to fail. In front of the C library's, where a process is linked with it or has it
 * preloaded, it counts every way to get memory (malloc, calloc, realloc, the aligned ones, and through them strdup and
 * its kin, operator new and the C library's own use), and the one that is told fails. The sanitizers have an allocator
 * of their own: there it counts what the program itself asks for, whose malloc, calloc and realloc the linker wraps.
 * Nothing is counted before it is armed: by a call, or, where it is preloaded, by variables of the environment.
 *     FAILING_MALLOC_AT        the number of the allocation that fails, counted from 1
 *     FAILING_MALLOC_FOR_GOOD  when it is set, every later one fails too
 *     FAILING_MALLOC_MARK      a file that is made when the first one fails
 * The programs that such a program runs have none of this. What is compiled with -finstrument-functions, as a test's
 * fake is, gets its memory in any case. */
#ifndef FAILING_MALLOC_H
#define FAILING_MALLOC_H

#ifdef __cplusplus
extern "C" {
#endif

/* From here on allocations are counted from 1. That of number `at` fails, with `for_good` every later one too; 0 only
 * counts. */
void allocations_arm(long at, int for_good);

/* Back to an allocator that never fails on purpose. Returns how many failed since allocations_arm. */
long allocations_disarm(void);

/* How many were made in between. */
long allocations_counted(void);

#ifdef __cplusplus
}
#endif

#endif
