# Which includes a file lacks, repeats or has for nothing, and which using declarations and names for namespaces a
# source has for nothing. Files come one after the other; for a source the headers that its own header includes count
# as its own.

BEGIN {
    # Names of the standard library, by the header that gives them. A header that is listed with all that is
    # used of it can be told to be unused.
    name("algorithm", "all_of any_of copy copy_n count count_if equal fill fill_n find find_if generate lower_bound max max_element min min_element minmax none_of nth_element partition remove remove_if reverse rotate shuffle sort stable_sort swap_ranges transform unique upper_bound clamp is_sorted equal_range binary_search includes set_difference set_intersection adjacent_find mismatch lexicographical_compare for_each next_permutation merge inplace_merge replace search make_heap push_heap pop_heap is_permutation stable_partition find_if_not")
    name("array", "array")
    name("atomic", "atomic atomic_thread_fence memory_order memory_order_relaxed memory_order_acquire memory_order_release memory_order_acq_rel memory_order_seq_cst atomic_flag")
    name("chrono", "chrono")
    name("condition_variable", "condition_variable condition_variable_any")
    name("deque", "deque")
    name("filesystem", "filesystem")
    name("fstream", "ifstream ofstream fstream filebuf")
    name("functional", "function hash less greater equal_to plus minus multiplies ref cref reference_wrapper bind invoke not_fn")
    name("future", "future promise async packaged_task shared_future launch")
    name("initializer_list", "initializer_list")
    name("iostream", "cout cerr cin clog")
    name("limits", "numeric_limits")
    name("list", "list")
    name("map", "map multimap")
    name("memory", "unique_ptr shared_ptr weak_ptr make_unique make_shared addressof allocator default_delete static_pointer_cast dynamic_pointer_cast uninitialized_copy enable_shared_from_this destroy_at allocator_traits align")
    name("mutex", "mutex lock_guard unique_lock scoped_lock once_flag call_once recursive_mutex adopt_lock defer_lock timed_mutex try_to_lock")
    name("numeric", "accumulate iota inner_product partial_sum reduce exclusive_scan inclusive_scan adjacent_difference gcd lcm")
    name("optional", "optional nullopt make_optional nullopt_t")
    name("queue", "queue priority_queue")
    name("random", "mt19937 mt19937_64 uniform_int_distribution uniform_real_distribution random_device normal_distribution bernoulli_distribution discrete_distribution minstd_rand")
    name("set", "set multiset")
    name("shared_mutex", "shared_mutex shared_lock")
    name("sstream", "ostringstream istringstream stringstream")
    name("stack", "stack")
    name("stdexcept", "runtime_error logic_error invalid_argument out_of_range length_error domain_error overflow_error range_error")
    name("string", "string to_string getline stoi stol stoul stoull stod stof char_traits basic_string")
    name("string_view", "string_view basic_string_view")
    name("thread", "thread this_thread")
    name("tuple", "tuple make_tuple tie get apply tuple_size tuple_element forward_as_tuple")
    name("type_traits", "is_same_v is_same enable_if_t conditional_t decay_t remove_reference_t is_trivially_copyable_v is_base_of_v is_integral_v is_floating_point_v is_convertible_v true_type false_type void_t is_arithmetic_v underlying_type_t is_enum_v is_pointer_v remove_cv_t is_const_v integral_constant is_default_constructible_v is_copy_constructible_v is_nothrow_move_constructible_v is_trivially_destructible_v is_invocable_v make_unsigned_t remove_const_t add_const_t remove_pointer_t is_copy_assignable_v is_move_constructible_v is_abstract_v is_constructible_v is_assignable_v invoke_result_t common_type_t is_void_v is_class_v is_signed_v is_unsigned_v is_nothrow_swappable_v is_standard_layout_v is_empty_v is_polymorphic_v has_virtual_destructor_v is_nothrow_destructible_v is_trivial_v is_trivially_default_constructible_v is_trivially_copy_constructible_v remove_cvref_t is_reference_v type_identity_t is_lvalue_reference_v is_array_v conjunction_v disjunction_v negation_v")
    name("typeindex", "type_index")
    name("unordered_map", "unordered_map unordered_multimap")
    name("unordered_set", "unordered_set")
    name("utility", "move forward pair exchange make_pair as_const declval index_sequence index_sequence_for make_index_sequence in_place integer_sequence in_place_type")
    name("variant", "variant visit get_if holds_alternative monostate variant_size_v variant_alternative_t")
    name("vector", "vector")

    # Wanted where they are used, but with more to them than is listed.
    name("cstdint", "int8_t int16_t int32_t int64_t uint8_t uint16_t uint32_t uint64_t uintptr_t intptr_t", "open")
    name("cstring", "memcpy memcmp strlen strcmp memset memmove", "open")
    name("cmath", "sqrt sin cos tan asin acos atan atan2 pow fabs floor ceil isnan isfinite isinf hypot exp log log10 nextafter signbit fmod lround", "open")
    name("exception", "exception_ptr current_exception rethrow_exception exception uncaught_exceptions terminate", "open")
    name("iterator", "back_inserter make_move_iterator distance istreambuf_iterator", "open")
    name("new", "bad_alloc nothrow align_val_t nothrow_t launder", "open")
    name("ostream", "ostream", "open")
    name("typeinfo", "type_info", "open")

    # A header that is there to give another one's names, too.
    gives["iostream"] = "ostream"
    gives["sstream"] = "ostream string"
    gives["fstream"] = "ostream"
}

function name(header, names, open,    n, list, i) {
    n = split(names, list, " ")
    for (i = 1; i <= n; ++i) {
        # `std::move` of ranges and `std::remove` of files have other headers; the common ones are meant.
        if (!(list[i] in home)) home[list[i]] = header
    }
    closed[header] = open == ""
}

function fault(text) {
    print file ": " text
    failed = 1
}

# The path of a header of the tree, seen from `from`; empty when it comes from elsewhere.
function pathOf(include, from,    local) {
    if (include in known) return include
    local = from
    sub(/[^\/]*$/, "", local)
    return (local include) in known ? local include : ""
}

function groupOf(include) {
    if (own != "" && pathOf(include, file) == own) return 0
    if (include ~ /^TessilGraph\//) return 1
    if (include ~ /^TessilUtils\//) return 2
    if (include ~ /^[a-z_0-9]+$/) return 9
    return 5
}

function check(path,    line, include, has, at, rest, code, used, count, i, order, seen, group, last, others, n, list, word, shortNames) {
    file = path
    own = path
    isSource = sub(/\.cpp$/, ".h", own)
    if (!isSource || !(own in known)) own = ""
    count = last = 0
    split("", has)
    split("", used)
    split("", others)
    split("", shortNames)
    while ((getline line < path) > 0) {
        if (line ~ /^#include/) {
            include = line
            sub(/^#include *[<"]/, "", include)
            sub(/[>"].*/, "", include)
            if (line ~ /\.\.\//) fault("includes by a way up: " include)
            if (include in has) fault("includes twice: " include)
            ++count
            group = groupOf(include)
            if (count == 1 && own != "" && group != 0) fault("includes its own header not first")
            if (group == 9 || group < 3) {
                if (group < last) fault("has in the wrong group: " include)
                last = group
            }
            has[include]
            continue
        }
        gsub(/\\"/, "", line)
        gsub(/"[^"]*"/, "\"\"", line)
        sub(/\/\/.*/, "", line)
        if (isSource && line ~ /^(using [A-Za-z_0-9:]+::[A-Za-z_0-9]+;|namespace [A-Za-z_0-9]+ =)/) {
            word = line
            sub(/^using .*::|^namespace /, "", word)
            sub(/[; ].*/, "", word)
            shortNames[word]
        } else {
            for (word in shortNames) {
                if (line ~ ("(^|[^A-Za-z_0-9])" word "([^A-Za-z_0-9]|$)")) delete shortNames[word]
            }
        }
        while (match(line, /std::[a-z_0-9]+/)) {
            word = substr(line, RSTART + 5, RLENGTH - 5)
            line = substr(line, RSTART + RLENGTH)
            used[word]
        }
    }
    close(path)
    for (word in shortNames) fault("has for nothing a short name: " word)

    for (include in has) {
        n = split(gives[include], list, " ")
        for (i = 1; i <= n; ++i) others[list[i]]
    }
    if (own != "") {
        while ((getline line < own) > 0) {
            if (line ~ /^#include/) {
                sub(/^#include *[<"]/, "", line)
                sub(/[>"].*/, "", line)
                others[line]
                n = split(gives[line], list, " ")
                for (i = 1; i <= n; ++i) others[list[i]]
            }
        }
        close(own)
    }
    split("", needed)
    for (word in used) {
        if (!(word in home)) continue
        include = home[word]
        needed[include]
        if (!(include in has) && !(include in others)) fault("uses std::" word " and lacks <" include ">")
    }
    for (include in has) {
        if (include in closed && closed[include] && !(include in needed)) fault("has for nothing <" include ">")
    }
}

{ known[$0]; paths[++total] = $0 }

END {
    for (p = 1; p <= total; ++p) check(paths[p])
    exit failed
}
