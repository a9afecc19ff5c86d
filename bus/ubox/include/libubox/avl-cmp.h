/* Comparison of keys for an AVL tree. */
#ifndef LIBUBOX_AVL_CMP_H
#define LIBUBOX_AVL_CMP_H

/* Keys are NUL-terminated texts, ordered by strcmp; `ptr` is not used. */
int avl_strcmp(const void *k1, const void *k2, void *ptr);
/* Keys are blob attributes, ordered by their bytes. */
int avl_blobcmp(const void *k1, const void *k2, void *ptr);

#endif
