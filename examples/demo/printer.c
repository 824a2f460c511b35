/*
 * The SQL text printer, as a driver uses it to pass a parsed statement on to
 * a back end: a small tree for
 *   SELECT name FROM emp WHERE salary > 1000 AND name LIKE 'A%'
 * built node by node as a parser would, printed back through a callback
 * that appends each piece to a buffer, and compared with the text the
 * printer's rules give.
 */
#include <stdio.h>
#include <string.h>

#include "demo.h"

#define FIELDS 20

struct text_buffer {
    char data[512];
    size_t length;
};

static void append_piece(const char *piece, void *user_data)
{
    struct text_buffer *b = (struct text_buffer *)user_data;
    size_t n = strlen(piece);
    if (b->length + n < sizeof b->data) {
        memcpy(b->data + b->length, piece, n + 1);
        b->length += n;
    }
}

static ParseNode *node(MemHandle *h, uint32_t kind, intptr_t f1, intptr_t f2,
                       intptr_t f3, intptr_t f4, intptr_t f5)
{
    ParseNode *n = (ParseNode *)newNode(sizeof(ParseNode) + FIELDS * sizeof(intptr_t),
                                        kind, h);
    n->field[0] = f1;
    n->field[1] = f2;
    n->field[2] = f3;
    n->field[3] = f4;
    n->field[4] = f5;
    return n;
}

static ParseNode *identifier(MemHandle *h, const char *text)
{
    return node(h, KX_NODE_IDENTIFIER, (intptr_t)text, 0, 0, 0, 0);
}

static ParseNode *column(MemHandle *h, const char *name)
{
    return node(h, KX_NODE_COLUMN_REFERENCE, 0, 0, 0, 0, (intptr_t)identifier(h, name));
}

static ParseNode *list_of_one(MemHandle *h, void *entry)
{
    return node(h, KX_NODE_LIST, (intptr_t)ListAppend(entry, NULL, h), 0, 0, 0, 0);
}

static ParseNode *expression(MemHandle *h, int32_t op_class, int32_t op_code,
                             void *left, void *right)
{
    OperatorPair *pair = (OperatorPair *)kx_mem_alloc(h, sizeof *pair);
    pair->op_class = op_class;
    pair->op_code = op_code;
    return node(h, KX_NODE_EXPRESSION, (intptr_t)pair, 0, (intptr_t)left,
                (intptr_t)right, 0);
}

int demo_printer(void)
{
    static const char expected[] =
        " SELECT name FROM emp WHERE ( ( salary > 1000  ) AND name LIKE 'A%' )";
    char pattern_token[] = "'A%'";
    MemHandle *h = kx_mem_alloc_handle(NULL);
    struct text_buffer out = {{0}, 0};
    ParseNode *select_list, *from, *where, *query, *root;
    Value *limit = MakeInteger("1000", h);
    Value *pattern = MakeLiteral(KX_LITERAL_STRING, pattern_token, h);

    printf("\n== SQL text from a parse tree ==\n");
    select_list = list_of_one(h, node(h, KX_NODE_SELECT_ITEM, (intptr_t)column(h, "name"),
                                      0, 0, 0, 0));
    from = list_of_one(h, node(h, KX_NODE_TABLE_REFERENCE,
                               (intptr_t)node(h, KX_NODE_TABLE_NAME, 0, 0, 0,
                                              (intptr_t)identifier(h, "emp"), 0),
                               0, 0, 0, 0));
    where = expression(h, KX_OP_CLASS_AND, 0,
                       expression(h, KX_OP_CLASS_COMPARISON, KX_OP_GREATER,
                                  column(h, "salary"), limit),
                       node(h, KX_NODE_LIKE, (intptr_t)column(h, "name"), 0,
                            (intptr_t)pattern, 0, 0));
    query = node(h, KX_NODE_QUERY_SPECIFICATION, 0, 0, (intptr_t)select_list,
                 (intptr_t)from, (intptr_t)where);
    root = node(h, 0, (intptr_t)ListAppend(query, NULL, h), 0, 0, 0, 0);

    sql92_print_parse_tree(root, append_piece, &out);
    printf("  printed: [%s]\n", out.data);
    kx_mem_release_handle(h);
    if (strcmp(out.data, expected) != 0) {
        printf("  !! not as described: expected [%s]\n", expected);
        return 1;
    }
    return 0;
}
