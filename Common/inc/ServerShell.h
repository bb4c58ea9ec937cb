/** @file
 * Command lines for the migration service, for callers that have to know whether a command was asked for at all.
 */
#pragma once

/** Runs a command line on the migration service like MigrationCommon::ExecuteUserShell(), whose result it gives.
 * @return the status of the command; -1 also without memory for the client, which always counted as a failed command
 * @throw std::bad_alloc without memory for the request: then the service was not asked */
int ExecuteOnServer(const char* command);
