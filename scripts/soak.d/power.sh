power_begin() { :; }
power_try() {
    local said states
    if said=$(storage_power_cut_test --sequences 1 --samples 200 --seed $((seed + try)) 2>&1); then
        states=$(sed -n 's/^1 sequences, \([0-9]*\) records, \([0-9]*\) states, .*/\1 \2/p' <<<"$said")
        count records "${states% *}"
        count states "${states#* }"
    else
        failed "$said"
    fi
}
