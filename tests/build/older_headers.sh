# Sourced: sets of the bus libraries' headers in the forms that they had before, made out of the bundled ones.

header_years='2017 2019 2021 2023'

# edit FILE SED_SCRIPT: what is changed or taken away has to be there.
edit() {
    cp "$1" "$1.before"
    sed -i "$2" "$1"
    if cmp -s "$1" "$1.before"; then
        echo "$1: nothing is $2" >&2
        return 1
    fi
    rm "$1.before"
}

# make_older_headers YEAR FOLDER: turns the headers in FOLDER, copies of the bundled ones, into those of summer of YEAR.
make_older_headers() {
    # Before June 2024 the initialiser of a type names its fields in another order than they stand in.
    cat >>"$2/libubus.h" <<'END'
#undef UBUS_OBJECT_TYPE
#define UBUS_OBJECT_TYPE(_name, _methods)                                                                              \
    {                                                                                                                  \
        .name = _name, .id = 0, .n_methods = ARRAY_SIZE(_methods), .methods = _methods                                 \
    }
END
    # Before February 2022 there are fewer statuses.
    [ "$1" -ge 2022 ] || edit "$2/ubusmsg.h" '/^ *UBUS_STATUS_\(NO_MEMORY\|PARSE_ERROR\|SYSTEM_ERROR\),/d' || return
    # Before November 2021 no macro of lists lets entries be taken out, and what is left of a timer is an int.
    [ "$1" -ge 2022 ] || {
        echo '#undef vlist_for_each_element_safe' >>"$2/libubox/vlist.h"
        echo '#pragma GCC poison uloop_timeout_remaining64' >>"$2/libubus.h"
    }
    # Before 2020 lengths are int, nothing checks them, ARRAY_SIZE stands twice, and libubus.h has no linkage guard.
    [ "$1" -ge 2020 ] || {
        edit "$2/libubox/blobmsg.h" 's/ size_t blobmsg_data_len(/ int blobmsg_data_len(/' || return
        edit "$2/libubox/blob.h" 's/ size_t blob_\(raw_len\|pad_len\|len\)(/ unsigned int blob_\1(/' || return
        edit "$2/libubus.h" '/^#ifdef __cplusplus/,/^#endif/d' || return
        printf '#ifndef ARRAY_SIZE\n#define ARRAY_SIZE(x) (sizeof(x) / sizeof(x[0]))\n#endif\n' >>"$2/ubus_common.h"
        echo '#pragma GCC poison blob_parse_untrusted blobmsg_check_attr_len' >>"$2/libubus.h"
    }
    # Before April 2018 the iterations have the bare typeof.
    [ "$1" -ge 2018 ] || edit "$2/libubox/list.h" 's/__typeof__/typeof/'
}
