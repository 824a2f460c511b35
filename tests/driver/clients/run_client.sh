#!/bin/sh
# Runs one client script against the build's data sources, or skips (77,
# ctest's skip) when the client is not on the machine (`make deps` installs
# every one of them).
#   run_client.sh perl SCRIPT | php SCRIPT | ruby SCRIPT odbc|odbc_utf8
set -u
kind=$1
script=$2
skip() { echo "SKIP: $*"; exit 77; }
case $kind in
perl)
    perl -MDBI -MDBD::ODBC -e 1 2>/dev/null || skip "Perl DBI with DBD::ODBC is missing (libdbd-odbc-perl)"
    exec perl "$script"
    ;;
php)
    case ${LD_PRELOAD:-} in
    *libasan*) skip "PHP loads its extensions with RTLD_DEEPBIND, which the sanitizer runtimes refuse" ;;
    esac
    php -r 'exit(function_exists("odbc_connect") && in_array("odbc", PDO::getAvailableDrivers()) ? 0 : 1);' \
        2>/dev/null || skip "PHP with odbc and PDO_ODBC is missing (php-cli, php-odbc)"
    exec php "$script"
    ;;
ruby)
    flavour=$3
    # Debian's ruby-odbc loads the driver manager at run time and takes its
    # entry points only when the driver manager is in the process already
    LD_PRELOAD="${LD_PRELOAD:+$LD_PRELOAD }${KX_ODBC_LIB:?}"
    export LD_PRELOAD
    ruby -e "require '$flavour'" 2>/dev/null || skip "ruby-odbc ($flavour) is missing"
    exec ruby "$script" "$flavour"
    ;;
esac
echo "unknown client $kind" >&2
exit 2
