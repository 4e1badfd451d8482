#!/bin/sh
# As GCC's -wrapper: links with lld in place of the toolchain's linker, whose name is built into it and which takes 20 s for
# what takes lld one.
case $1 in
*/collect2)
    shift
    exec ld.lld "$@"
    ;;
esac
exec "$@"
