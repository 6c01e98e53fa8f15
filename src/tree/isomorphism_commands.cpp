// set_isomorphism: the two switches by root street. Any text but "0" turns
// a switch on, as old clients send "1", "on" or "true" alike; the change
// reaches only the next build, the present tree follows its own flag.
#include "shell/output.h"
#include "tree/isomorphism.h"
#include "tree/tree_commands.h"

void CmdSetIsomorphism(const Tokens& tokens) {
  IsomorphismFlopRoots = tokens[1] != "0";
  IsomorphismTurnRoots = tokens[2] != "0";
  ReplyOk(tokens);
}
