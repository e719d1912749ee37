# What the checks of the built library share. Sourced, not run; expects `set -euo pipefail`.
export LC_ALL=C

# What READELF says about dynamic entries with TAG (NEEDED, SONAME), one name per line.
#   dynamic_names READELF LIBRARY TAG
dynamic_names() {
    "$1" --dynamic --wide "$2" | sed -n "s/.*($3).*\[\(.*\)\].*/\1/p"
}
