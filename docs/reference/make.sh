# make.sh SOURCE_DIR CC DOXYGEN OUTPUT_DIR
# Makes the reference of the public headers in OUTPUT_DIR: html/index.html for people, xml/ for the
# test. A docstring that is missing, or at odds with its function, is an error.
set -eu
source=$1 cc=$2 doxygen=$3 output=$4
here=$source/docs/reference

sh "$here/stamp.sh" "$source/include" "$cc" "$output/stamped"
rm -rf "$output/html" "$output/xml"
version=$(awk '/define KMATH_VERSION_[A-Z]+ [0-9]/ { printf "%s%s", dot, $3; dot = "." }' \
    "$source/include/kmath/status.h")
{ cat "$here/main_page.md"; sed -n '/^| header /,/^$/p' "$source/README.md"; } >"$output/main_page.md"
{
    cat "$here/Doxyfile"
    echo "PROJECT_NUMBER = $version"
    echo "INPUT = \"$output/main_page.md\" \"$source/include\" \"$output/stamped\""
    echo "USE_MDFILE_AS_MAINPAGE = \"$output/main_page.md\""
    echo "EXCLUDE_PATTERNS = */vector_types.h */*_operations.h"
    echo "STRIP_FROM_PATH = \"$source/include\" \"$output/stamped\""
    echo "RECURSIVE = YES"
    echo "OUTPUT_DIRECTORY = \"$output\""
} | "$doxygen" -
