# What the checks of the GStreamer plugin share.

place=$(pkg-config --variable=pluginsdir gstreamer-1.0)
place=${place#"$(pkg-config --variable=prefix gstreamer-1.0)"/}
plugin=$place/libgstvelmor.so

# run_plugin_in <prefix>: a pipeline of the plugin there and of GStreamer's own, with a registry of its own. The
# libraries of velmor that it takes are those of the same prefix.
run_plugin_in()
{
    local folder=$1 found
    export GST_PLUGIN_PATH=$folder/$place GST_REGISTRY=$SCRATCH/plugin-registry.bin
    rm -f "$GST_REGISTRY"
    found=$(gst-inspect-1.0 velmorfilter | sed -n 's/^ *Filename *//p')
    [[ $found == "$folder/$plugin" ]] || fail "velmorfilter is in '$found'"
    found=$(ldd "$folder/$plugin" | sed -n 's/.*libvelmor_.* => \([^ ]*\).*/\1/p')
    [[ -n $found ]] || fail "the plugin takes no library of velmor"
    while read -r library; do
        [[ $(readlink -f "$library") == "$(readlink -f "$folder")"/* ]] || fail "the plugin takes $library"
    done <<<"$found"
    found=$(gst-launch-1.0 -q videotestsrc num-buffers=1 pattern=black ! video/x-raw,format=RGB,width=4,height=2 ! \
        velmorfilter operator=Not ! fdsink | od -An -v -tx1 | tr -d ' \n')
    [[ $found == "$(printf 'f%.0s' {1..48})" ]] || fail "the complement of black is '$found'"
}
