# sh make-startable.sh PROGRAM QEMU SYSROOT: see run-emulated.cmake.
# What is preloaded into the program is of no concern to qemu, which has no dynamic linker; "-0" tells the program the
# name under which it can be started.
set -eu
mv "$1" "$1.elf"
cat >"$1" <<END
#!/bin/sh
exec '$2' -L '$3' -0 "\$0" "\$0.elf" "\$@"
END
chmod +x "$1"
