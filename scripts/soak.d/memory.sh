memory_begin() { :; }
memory_try() {
    local said
    if said=$(storage_no_memory_test --every "$tries" --from "$try" 2>&1); then
        count "allocations failed" "$(awk '/ failures, / { sum += $1 + $3 } END { print sum + 0 }' <<<"$said")"
    else
        failed "$said"
    fi
}
