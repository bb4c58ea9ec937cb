#include "Help.h"

namespace vbset::help {

const char* const overview = R"(
A set is a TV joined to a connection box, two directories. What lies in their nonvolatile/ survives a power cut, what
lies in volatile/ does not. A box can be moved to another TV: switch the set off, then name the box with the other TV.
A side that is on with another one is refused.

Example: back up on one TV, restore on the next
  vbset new tv15 /tmp/tv-old
  vbset new tv14 /tmp/tv-new
  vbset new box15 /tmp/box
  vbset run /tmp/tv-old /tmp/box -- vbmigration backup
  vbset off /tmp/tv-old /tmp/box
  vbset run /tmp/tv-new /tmp/box -- vbmigration migrate
  vbset trace /tmp/tv-new --last
  (`vbset list` names the descriptions that there are)

Exit status
  0  done
  1  diff: the two sides differ
  2  refused, with one line on standard error: a word that is not known, a directory that is not there, a description
     that cannot be read, a set that another run is using; nothing was changed
  `run` exits as its program does, see `vbset run --help`.

Files of a TV
  tv.toml               what it is
  nonvolatile/          EEPROM, data_sync partition, its file system, working directory of programs
  volatile/             mounts, module, GPIO levels, faults; there while it is on
  trace.jsonl           every interaction of library and set, one JSON object a line
  platform.log          the platform log
Files of a box
  box.toml              what it is
  nonvolatile/          factory store, migration partition, raw MAC block, boot partition, archive)";

const char* const newSide = R"(
The description says whether a TV or a box is made. It is one that comes with the simulator (see `vbset list`) or the
path of a TOML file of your own. The packaged ones say what each key means; the copy that a new TV or box gets (tv.toml,
box.toml) is a good start for one of your own. A description that is malformed is refused with file, line and reason,
and nothing is made.

Examples
  vbset new tv15 /tmp/tv
  vbset new ./my-box.toml /tmp/box)";

const char* const show = R"(
Shows what a TV or a box is and what it holds now; given both, one after the other. For a TV: its description, MAC
addresses, power flag and EEPROM, and while it is on the mounts, the migration module, GPIO levels, tuner mute, buffer
IC and the faults that are on (those of a run only while it runs). For a box: MAC block, number and digest of the
factory items, boot partition, archive. For both: their files, with size and digest.

With --json the same as one JSON object (an array of two when two directories are given), with the bytes of every
item. What survives a power cut stands under "holds".)";

const char* const run = R"(
Starts PROGRAM on the set made of TV and BOX and waits for it. Both sides are locked against other runs, the set is
switched on unless it is on already, a message bus with the migration service on it is started, and the program sees
the set's device nodes and paths in place of the host's. When it ends, the bus and all processes of the run that are
left end too; the set stays on, so that what is mounted stays mounted for the next run, until `vbset off`.

PROGRAM is a path, or a word that is found by way of PATH. Standard input, output and error are the program's own. It
starts in TV/nonvolatile/work, so name its files by absolute paths.

Faults
  Each --fault switches a fault on for this run, in addition to those of the two descriptions and over them, such as
  --fault service.state=silent, --fault local.spi_init.sh.mount.data_sync=1, --fault flash.migration.free=4096. They
  end with the run; those of the descriptions stay. Faults of the command line that nothing in the run has asked for,
  mistyped ones for instance, are named on standard error after it.

  serdes.polls=N|never                       the link to the box locks only at poll N + 1, or never
  eeprom.read.ITEM=R  eeprom.write.ITEM=R    result of the call; ITEM as in F211
  eeprom.value.ITEM=HEX                      bytes that are read instead
  eeprom.migrated_mac=E                      error number of writing the migrated MAC
  system_info.KEY=fail|VALUE                 a configuration key that cannot be read, or reads VALUE
  factory.size.UID=N  factory.get.UID=R  factory.set.UID=R  factory.value.UID=fail   UID may be *
  micom.mac=R                                the micom gives no MAC address and returns R
  encrypt.import=R  encrypt.size=N  encrypt.length=N
  local.COMMAND=STATUS                       a command ends so at once when the program runs it; COMMAND is its words
                                             joined by ".", without directories; STATUS kill ends it by a signal
  service.COMMAND=STATUS                     the same when the service runs it
  service.state=absent|silent|dies|error     the service is not there, never answers, dies while it answers, refuses
  service.delay=MILLISECONDS                 it answers late
  service.reply.CODE=TEXT                    what it answers to requests of this code after carrying them out
  path.PATH=ERROR                            opening a path of the set fails with an error such as EACCES
  read.PATH=short:N|ERROR                    reads give at most N bytes, or fail
  write.PATH=short:N|full:N|ERROR            writes take at most N bytes, find the device full after N, or fail
  fsync.PATH=ERROR
  flash.migration.free=N  flash.data_sync.free=N  flash.root.free=N    bytes of room on a partition, or on the TV's own
                                             file system
  ioctl.REQUEST=ERROR                        REQUEST as 8 hexadecimal digits

Power cuts
  --cut says where in the run the power goes away. Everything of the run is killed there, what is volatile is gone, and
  the set is off: the next run starts from what is left.

  17b     before interaction 17 takes effect; `vbset trace` shows the numbers of a run
  17a     after it took effect, before the program learns of it
  17w425  a write to a file: after 425 of its bytes
  17.2    inside what the set does for a command or request, after the second step of it
  17a-o   what is not synced then is as it was when it was last synced. One letter stands for all such files; several
          stand for each of them, by name: o as it was, n as it was written, z with its new length but zeros in it

Environment of the program
  VBSET_TV, VBSET_BOX        the directories of the set
  VBSET_REAL_TIME            1 with --real-time
  DBUS_SYSTEM_BUS_ADDRESS    the set's own bus; with --no-bus an address that no one can connect to
  LD_PRELOAD                 the library that puts the set's paths in place, before what it held already. When vbset
                             was built with a sanitizer, the sanitizer's runtime comes first.
  ASAN_OPTIONS               in a build with AddressSanitizer: detect_leaks=0 is added for a program built without

Exit status
  that of the program; 128 and the number of the signal that killed it; 124 when --timeout ended it, 125 when --cut
  did; 126 when PROGRAM cannot be executed, 127 when it is not found, 2 when the run was refused: nothing was changed
  then.

Examples
  vbset run /tmp/tv /tmp/box -- vbmigration backup
  vbset run /tmp/tv /tmp/box --fault service.state=absent --timeout 10 -- ./my-caller --verbose
  vbset run /tmp/tv /tmp/box --cut 57a-o -- vbmigration backup)";

const char* const trace = R"(
Prints what the programs that ran on the set asked of it, and what it did, oldest first and all runs since the TV was
made: number within the run, microseconds since the run began, kind, call with its arguments, result. Not only the
library asks: what the program does itself, such as vbmigration's look at the picture file, is there and numbered too.
Lines of the service and of the set's scripts have no number: the numbers count what the program itself asked for.

Kinds
  platform, command, request, ioctl, file, sleep; service and script for what happened on the other side

With --json the lines as they stand in TV/trace.jsonl, one JSON object each; a line with "run" begins a run.)";

const char* const diff = R"(
Compares what two TVs, or two boxes, hold: EEPROM and MAC addresses; factory items by id, MAC block, boot partition and
archive; the files of both. For each thing that differs it prints its name, what the first holds (-) and what the
second holds (+). What they are (tv.toml, box.toml) and what is volatile is not compared.

Exit status
  0  they hold the same      1  they differ      2  they cannot be compared)";

const char* const off = R"(
Takes the power from both sides: what is volatile is gone, nothing is mounted any more. A box must be off before it can
be joined to another TV. A side that is on with another one is refused.)";

}  // namespace vbset::help
