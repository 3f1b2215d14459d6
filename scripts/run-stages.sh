# To be sourced: runs the stages of a long check one after the other and tells what each took.
#
#   stage NAME COMMAND [ARGUMENT...]     a stage that fails does not keep the others from running
#   stages_end                           prints the table, and ends the script with 1 if a stage failed; call it last
stage_table=()
stages_failed=0
stage_started=$SECONDS

stages_end() {
  printf '\n%8s  %s\n' seconds stage
  printf '%s\n' "${stage_table[@]}"
  printf '%8d  in all\n' $((SECONDS - stage_started))
  printf '%d passed, %d failed\n' $((${#stage_table[@]} - stages_failed)) "$stages_failed"
  [ "$stages_failed" -eq 0 ] || exit 1
}

stage() {
  local name=$1 before=$SECONDS
  shift
  printf '\n== %s ==\n' "$name"
  if ! "$@"; then
    stages_failed=$((stages_failed + 1))
    stage_table+=("$(printf '%8d  %s: FAILED' $((SECONDS - before)) "$name")")
    return
  fi
  stage_table+=("$(printf '%8d  %s' $((SECONDS - before)) "$name")")
}
