#!/bin/bash
# Runs a command in which programs for 64-bit ARM execute like the machine's own, and programs that they start do too:
#
#   scripts/emulated.sh COMMAND [ARGUMENT…]
#
# Their libraries are in QEMU_LD_PREFIX, or else those of the cross compiler.
# The system is told of the emulator in a user namespace of the command's own; nothing of the machine is changed. Kernels before
# 6.7 have no such settings of a namespace: there the emulator must be known to the machine (Debian: qemu-user-binfmt).
set -euo pipefail

export QEMU_LD_PREFIX=${QEMU_LD_PREFIX:-/usr/aarch64-linux-gnu}
settings=/proc/sys/fs/binfmt_misc

if [ "${1:-}" != --inside ]; then
    if [ -e $settings/qemu-aarch64 ]; then
        exec "$@"
    fi
    exec unshare --user --map-root-user --mount -- "$0" --inside "$@"
fi
shift

if ! mount -t binfmt_misc binfmt_misc $settings; then
    echo "this kernel has no settings of a namespace for foreign programs; install qemu-user-binfmt"
    exit 1
fi
# What the file of an executable program or a shared library for this processor begins with; F opens the emulator now, so that
# it is found in every other namespace.
magic='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
printf '%s' ":qemu-aarch64:M::$magic:$mask:/usr/bin/qemu-aarch64:F" >$settings/register
exec "$@"
