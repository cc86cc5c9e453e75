/// Memory that really runs out: in a process of its own.
#ifndef HARMOTRACK_TESTS_FACE_LIMITED_PROCESS_H
#define HARMOTRACK_TESTS_FACE_LIMITED_PROCESS_H

#include <cstddef>
#include <functional>
#include <string>

/// How an attempt ended. With a sentence that memory ran out, it must succeed when tried again in
/// the same process, with memory: else it ended in another way.
enum class Attempt { Succeeded, EndedByASentence, EndedOtherwise };

/// Tries something in a copy of this process whose address space may grow by so many bytes.
///
/// @param[out] how  of an attempt that ended otherwise: the signal, the sentence
Attempt attemptWithin(std::size_t bytes, const std::function<void()>& what, std::string& how);

/// Tries it with nothing to spare, then with more and more until it succeeds.
///
/// @return  how often it ended by a sentence; a failure of the test if it ever ended otherwise
int attemptWithMoreAndMore(const std::function<void()>& what);

#endif
