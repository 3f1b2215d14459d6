# To be sourced: runs the stages of a long check one after the other and tells what each took.
#
#   stage NAME COMMAND [ARGUMENT...]     ends the script when the command fails
#   stages_end                           prints the table; call it last
stage_table=()
stage_started=$SECONDS

stages_end() {
  printf '\n%8s  %s\n' seconds stage
  printf '%s\n' "${stage_table[@]}"
  printf '%8d  in all\n' $((SECONDS - stage_started))
}

stage() {
  local name=$1 before=$SECONDS
  shift
  printf '\n== %s ==\n' "$name"
  if ! "$@"; then
    stage_table+=("$(printf '%8d  %s: FAILED' $((SECONDS - before)) "$name")")
    stages_end
    exit 1
  fi
  stage_table+=("$(printf '%8d  %s' $((SECONDS - before)) "$name")")
}
