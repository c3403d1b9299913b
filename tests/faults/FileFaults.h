#pragma once

/// Failing disks for tests.
///
/// A shared library that stands between a program and the C library: it makes calls on files below one folder fail,
/// keeps a record of them, or kills the process in front of one. Files elsewhere, and so the loading of the program,
/// are not touched. For programs with one thread.
///
/// Preloaded (LD_PRELOAD) into a program whose environment names QEN_FAULTS_FOLDER, absolute and without links, it runs
/// the program once for each line "KIND AT REPEAT PLAIN" of standard input, in that folder, and answers each on
/// standard output with the wait status:
///   KIND    EIO, ENOSPC, EINTR, EACCES: the error that a call gives
///           ENOLCK: the same for locks, which get no other
///           short: a transfer of half the bytes
///           kill: SIGKILL before a call that changes something
///           none: nothing, calls are only counted
///   AT      the number of the call that it happens to, from 1 on; only calls that can have it count. With `none` it
///           tells runs apart that make random UUIDs of their own.
///   REPEAT  once, or forever: that call and those behind it; of interruptions every second one, because programs that
///           repeat an interrupted call rely on its success in the end
///   PLAIN   1: the file system can neither exchange two names nor rename only to a free name; else 0
/// QEN_FAULTS_OUT, QEN_FAULTS_ERR and QEN_FAULTS_LOG name files that get what a run writes to its standard output and
/// error, and a record of each call, see FileFaults.cpp. Runs can be compared: the clock stands still, nobody sleeps,
/// and random UUIDs and /dev/urandom are the same in each.
///
/// A program that links it uses the functions below.
namespace FileFaults
{
/// Starts anew: calls below the folder count from 1 on, and the calls `at` (and those behind it) have the fault.
void Arm(char const* folder, char const* kind, unsigned at, bool forever);
/// Calls have no more faults and do not count.
void Disarm();
/// Calls since Arm that can have the fault.
unsigned Calls();
/// How many of them had it.
unsigned Injected();
} // namespace FileFaults
