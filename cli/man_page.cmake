# Writes the tool's man page from its own help: `tarn --help` for the description and each
# command's `tarn COMMAND --help` for its section, so the page never drifts from the tool.
#   cmake -DTOOL=path/to/tarn -DVERSION=x.y.z -DOUT=tarn.1 -P man_page.cmake

function(help_of out_var)
  execute_process(COMMAND ${TOOL} ${ARGN} --help OUTPUT_VARIABLE text RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "tarn ${ARGN} --help failed (${status})")
  endif()
  set(${out_var} "${text}" PARENT_SCOPE)
endfunction()

# Help text as roff lines: backslashes and hyphens escaped, no line read as a request.
function(roff out_var text)
  string(REPLACE "\\" "\\e" text "${text}")
  string(REPLACE "-" "\\-" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${out_var} "${text}" PARENT_SCOPE)
endfunction()

help_of(main)
string(REGEX MATCH "^tarn: ([^\n]*)" about "${main}")
set(about "${CMAKE_MATCH_1}")
string(FIND "${main}" "\n" first_end)
math(EXPR first_end "${first_end} + 1")
string(SUBSTRING "${main}" ${first_end} -1 main_body)
roff(main_body "${main_body}")
roff(about "${about}")

set(page ".TH TARN 1 \"\" \"tarn ${VERSION}\" \"User Commands\"\n")
string(APPEND page ".SH NAME\ntarn \\- ${about}\n")
string(APPEND page ".SH SYNOPSIS\n.B tarn\n\\fICOMMAND\\fR [\\fIOPTIONS\\fR] [\\fIARGUMENTS\\fR]\n")
string(APPEND page ".SH DESCRIPTION\n.nf\n${main_body}.fi\n.SH COMMANDS\n")

# The commands are the lines under "Commands:" up to the next blank line.
string(REGEX MATCH "\nCommands:\n(([^\n]+\n)+)" listing "${main}")
string(REGEX MATCHALL "(^|\n)  [a-z]+ " names "${CMAKE_MATCH_1}")
if(NOT names)
  message(FATAL_ERROR "no commands found in the help of ${TOOL}")
endif()
foreach(name IN LISTS names)
  string(STRIP "${name}" name)
  help_of(text ${name})
  roff(text "${text}")
  string(APPEND page ".SS tarn ${name}\n.nf\n${text}.fi\n")
endforeach()
file(WRITE "${OUT}" "${page}")
