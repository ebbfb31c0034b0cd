// The data-fitting task record and its editors: checks in order, the
// pointer tables' filling rules, allocation failures and deletion.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "orx/df.h"
#include "orx/host.h"

namespace {

struct TaskDeleter {
  void operator()(Task1D* t) const { orx_df_kernel_DeleteTask(&t); }
};
using TaskPtr = std::unique_ptr<Task1D, TaskDeleter>;

std::vector<double> g_x(10), g_y(64), g_c(256);

TaskPtr new_task(int64_t nx, int64_t ny, int64_t yhint, uint32_t index_width = 0) {
  Task1D* t = nullptr;
  EXPECT_EQ(orx_df_kernel_dNewTask1D(&t, nx, g_x.data(), 0, ny, ny ? g_y.data() : nullptr, yhint,
                                     index_width),
            DF_STATUS_OK);
  return TaskPtr(t);
}

struct NewCase {
  const char* what;
  int64_t nx;
  bool x;
  int64_t xhint, ny;
  bool y;
  int64_t yhint;
  int status;
};

TEST(DfTask, CreationChecksInOrder) {
  const NewCase cases[] = {
      {"nx 1 before the pointers", 1, false, 3, 1, false, 5, DF_ERR_BAD_NX},
      {"null x", 2, false, 3, 1, false, 5, DF_ERR_NULL_X},
      {"partition hint 3", 2, true, 3, 1, false, 5, DF_ERR_BAD_XHINT},
      {"values needed", 2, true, 4, 1, false, 5, DF_ERR_NULL_Y},
      {"values with ny 0", 2, true, 1, 0, true, 5, DF_ERR_BAD_NY},
      {"storage hint 5", 2, true, 2, 1, true, 5, DF_ERR_BAD_YHINT},
      {"nx 2", 2, true, 0, 1, true, 16, DF_STATUS_OK},
      {"ny 0 without values", 5, true, 4, 0, false, 32, DF_STATUS_OK},
      {"negative ny with values", 5, true, 1, -3, true, 0, DF_STATUS_OK},
  };
  for (const NewCase& c : cases) {
    SCOPED_TRACE(c.what);
    Task1D* t = nullptr;
    EXPECT_EQ(orx_df_kernel_dNewTask1D(&t, c.nx, c.x ? g_x.data() : nullptr, c.xhint, c.ny,
                                       c.y ? g_y.data() : nullptr, c.yhint, 1),
              c.status);
    EXPECT_EQ(t != nullptr, c.status == DF_STATUS_OK);
    if (t != nullptr) {
      EXPECT_EQ(t->tag, 4);
      EXPECT_EQ(t->dimension, 1);
      EXPECT_EQ(t->editable, 1);
      EXPECT_EQ(t->index_width, 1u);
      EXPECT_EQ(t->nx, c.nx);
      EXPECT_EQ(t->ny, c.ny);
      EXPECT_EQ(t->y_table != nullptr, c.y);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(t) % 128, 0u);
      orx_df_kernel_DeleteTask(&t);
    }
  }
  EXPECT_EQ(orx_df_kernel_dNewTask1D(nullptr, 2, g_x.data(), 0, 0, nullptr, 0, 0),
            DF_ERR_NULL_TASK);
}

TEST(DfTask, ValueTableFollowsTheStorageHint) {
  const int64_t nx = 5, ny = 3;
  const TaskPtr rows = new_task(nx, ny, DF_MATRIX_STORAGE_ROWS);
  for (int j = 0; j < ny; ++j) EXPECT_EQ(rows->y_table[j], g_y.data() + j * nx);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(rows->y_table) % 128, 0u);
  const TaskPtr none = new_task(nx, ny, 0);
  EXPECT_EQ(none->y_table[2], g_y.data() + 2 * nx);
  const TaskPtr cols = new_task(nx, ny, DF_MATRIX_STORAGE_COLS);
  EXPECT_EQ(cols->y_table[0], g_y.data());
  const TaskPtr separate = new_task(nx, ny, DF_MATRIX_STORAGE_FUNCS_SEP);
  EXPECT_EQ(separate->y_table[0], g_y.data());
  EXPECT_EQ(separate->y_table[1], nullptr);
  EXPECT_EQ(separate->y_table[2], nullptr);
  // The caller supplies the other functions one by one.
  ASSERT_EQ(orx_df_kernel_dEditIdxPtr(separate.get(), DF_ATTR_FUNC_VALUES, 2, g_y.data() + 40), 0);
  EXPECT_EQ(separate->y_table[2], g_y.data() + 40);
}

struct CoeffCase {
  int64_t order, type, hint;
  int64_t stride;  // 0: entry 0 only
};

TEST(DfTask, CoefficientTableStrides) {
  const int64_t nx = 6, ny = 3;
  const CoeffCase cases[] = {{2, 0, 0, 2 * (nx - 1)},
                             {3, 1, 0, 3 * nx},  // type 1: one block per knot
                             {4, 5, 16, 4 * (nx - 1)},
                             {4, 0, 128, 0},
                             {3, 0, 32, 3 * (nx - 1)}};
  for (const CoeffCase& c : cases) {
    SCOPED_TRACE(testing::Message() << "order " << c.order << " type " << c.type);
    const TaskPtr t = new_task(nx, ny, 0);
    ASSERT_EQ(orx_df_kernel_dEditPPSpline1D(t.get(), c.order, c.type, 0, nullptr, 0, nullptr,
                                            g_c.data(), c.hint),
              0);
    for (int j = 0; j < ny; ++j)
      EXPECT_EQ(t->coeff_table[j],
                c.stride == 0 && j > 0 ? nullptr : g_c.data() + j * c.stride);
    // Attribute 5 rebuilds the table from the stored order, type and hint.
    ASSERT_EQ(orx_df_kernel_dEditPtr(t.get(), DF_ATTR_COEFFS, g_c.data() + 1), 0);
    EXPECT_EQ(t->coeff_table[ny - 1],
              c.stride == 0 ? nullptr : g_c.data() + 1 + (ny - 1) * c.stride);
  }
  // Single precision: the same rule in floats.
  std::vector<float> xs(6), ys(18), cs(60);
  Task1D* t = nullptr;
  ASSERT_EQ(orx_df_kernel_sNewTask1D(&t, 6, xs.data(), 0, 3, ys.data(), 0, 0), 0);
  EXPECT_EQ(t->y_table[2], ys.data() + 12);
  ASSERT_EQ(orx_df_kernel_sEditPPSpline1D(t, 3, 0, 0, nullptr, 0, nullptr, cs.data(), 0), 0);
  EXPECT_EQ(t->coeff_table[2], cs.data() + 30);
  orx_df_kernel_DeleteTask(&t);
}

TEST(DfTask, PointerEditorStatuses) {
  const TaskPtr t = new_task(5, 2, 0);
  const struct {
    int64_t attribute;
    int null_status;
  } cases[] = {{DF_ATTR_PARTITION, DF_ERR_NULL_X},
               {DF_ATTR_FUNC_VALUES, DF_ERR_NULL_Y},
               {DF_ATTR_INTERNAL_COND, DF_ERR_NULL_IC},
               {DF_ATTR_BOUNDARY_COND, DF_ERR_NULL_BC},
               {DF_ATTR_COEFFS, DF_ERR_NULL_COEFF}};
  for (const auto& c : cases) {
    EXPECT_EQ(orx_df_kernel_dEditPtr(t.get(), c.attribute, nullptr), c.null_status);
    EXPECT_EQ(orx_df_kernel_dEditPtr(t.get(), c.attribute, g_y.data() + 8), 0);
  }
  EXPECT_EQ(t->x, g_y.data() + 8);
  EXPECT_EQ(t->ic, g_y.data() + 8);
  EXPECT_EQ(t->bc, g_y.data() + 8);
  EXPECT_EQ(t->y_table[1], g_y.data() + 13);
  for (int64_t attribute : {0, 6, 14, -1})  // the id is checked before the pointer
    EXPECT_EQ(orx_df_kernel_dEditPtr(t.get(), attribute, nullptr), DF_ERR_BAD_ATTR);

  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), DF_ATTR_FUNC_VALUES, 2, g_y.data()),
            DF_ERR_BAD_INDEX);
  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), DF_ATTR_FUNC_VALUES, -1, nullptr),
            DF_ERR_BAD_INDEX);
  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), 3, 1, g_y.data()), DF_ERR_BAD_ATTR);
  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), DF_ATTR_FUNC_VALUES, 1, nullptr), DF_ERR_NULL_Y);
  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), DF_ATTR_COEFFS, 1, nullptr), DF_ERR_NULL_COEFF);
  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), DF_ATTR_COEFFS, 1, g_c.data()), 0);
  EXPECT_EQ(t->coeff_table[1], g_c.data());
}

TEST(DfTask, TablesAreNotRebuiltByTheValueEditor) {
  // Column storage: one entry. Raising ny does not let the per-function
  // editor write past it.
  const TaskPtr t = new_task(5, 1, DF_MATRIX_STORAGE_COLS);
  ASSERT_EQ(orx_df_kernel_iEditVal(t.get(), DF_ATTR_FUNC_COUNT, 3), 0);
  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), DF_ATTR_FUNC_VALUES, 2, g_y.data()),
            DF_ERR_BAD_INDEX);
  ASSERT_EQ(orx_df_kernel_iEditVal(t.get(), DF_ATTR_FUNC_VALUES_HINT, 16), 0);
  ASSERT_EQ(orx_df_kernel_dEditPtr(t.get(), DF_ATTR_FUNC_VALUES, g_y.data()), 0);
  EXPECT_EQ(t->y_table[2], g_y.data() + 10);
  // No coefficient table yet: the per-function editor has nothing to write.
  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), DF_ATTR_COEFFS, 0, g_c.data()),
            DF_ERR_NULL_COEFF);
}

TEST(DfTask, ValueEditorAcceptsAndRefuses) {
  const struct {
    int64_t attribute, good, bad;
    int status;
    int64_t Task1D::*field;
  } cases[] = {
      {DF_ATTR_PARTITION_SIZE, 2, 1, DF_ERR_BAD_NX, &Task1D::nx},
      {DF_ATTR_PARTITION_HINT, 2, 3, DF_ERR_BAD_XHINT, &Task1D::xhint},
      {DF_ATTR_FUNC_COUNT, 1, 0, DF_ERR_BAD_NY, &Task1D::ny},
      {DF_ATTR_FUNC_VALUES_HINT, 128, 64, DF_ERR_BAD_YHINT, &Task1D::yhint},
      {DF_ATTR_SPLINE_ORDER, 0, -1, DF_ERR_BAD_ORDER, &Task1D::s_order},
      {DF_ATTR_SPLINE_TYPE, 5, 6, DF_ERR_BAD_TYPE, &Task1D::s_type},
      {DF_ATTR_INTERNAL_COND_TYPE, 9, 3, DF_ERR_BAD_IC_TYPE, &Task1D::ic_type},
      {DF_ATTR_INTERNAL_COND_TYPE, 8, 4, DF_ERR_BAD_IC_TYPE, &Task1D::ic_type},
      {DF_ATTR_BOUNDARY_COND_TYPE, 0, -1, DF_ERR_BAD_BC_TYPE, &Task1D::bc_type},
      {DF_ATTR_COEFFS_HINT, 32, 1, DF_ERR_BAD_COEFF_HINT, &Task1D::coeff_hint},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "attribute " << c.attribute);
    const TaskPtr t = new_task(7, 1, 0);
    EXPECT_EQ(orx_df_kernel_iEditVal(t.get(), c.attribute, c.bad), c.status);
    EXPECT_NE((*t).*c.field, c.bad);
    EXPECT_EQ(orx_df_kernel_iEditVal(t.get(), c.attribute, c.good), 0);
    EXPECT_EQ((*t).*c.field, c.good);
  }
  const TaskPtr t = new_task(7, 1, 0);
  for (int64_t attribute : {1, 2, 5, 13, 23}) {
    EXPECT_EQ(orx_df_kernel_iEditVal(t.get(), attribute, 2), DF_ERR_BAD_ATTR);
  }
  EXPECT_EQ(orx_df_kernel_iEditVal(nullptr, DF_ATTR_FUNC_COUNT, 2), DF_ERR_NULL_TASK);
}

TEST(DfTask, SplineDescriptionChecksAndPartialStores) {
  const TaskPtr t = new_task(4, 1, 0);
  const double bc[2] = {1, 2}, ic[1] = {3};
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(nullptr, 2, 0, 0, nullptr, 0, nullptr, nullptr, 0),
            DF_ERR_NULL_TASK);
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(t.get(), -1, 0, 0, nullptr, 0, nullptr, nullptr, 0),
            DF_ERR_BAD_ORDER);
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(t.get(), 3, -1, 0, nullptr, 0, nullptr, nullptr, 0),
            DF_ERR_BAD_TYPE);
  EXPECT_EQ(t->s_order, 0);  // nothing stored before the type check passed
  // Order and type are stored before the boundary check fails.
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(t.get(), 4, 2, 12, nullptr, 0, nullptr, nullptr, 0),
            DF_ERR_NULL_BC);
  EXPECT_EQ(t->s_order, 4);
  EXPECT_EQ(t->s_type, 2);
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(t.get(), 4, 2, 12, bc, 1, nullptr, nullptr, 0),
            DF_ERR_NULL_IC);
  EXPECT_EQ(t->bc_type, 12);
  EXPECT_EQ(t->bc, bc);
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(t.get(), 4, 2, 1, nullptr, 0, ic, nullptr, 0),
            DF_ERR_BAD_IC_TYPE);
  for (int64_t bc_type : {0, 1, 2})  // these need no values
    EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(t.get(), 2, 0, bc_type, nullptr, 0, nullptr, nullptr,
                                            77),
              0);
  EXPECT_EQ(t->coeff_hint, 77);  // the hint is not checked here
  // The spline editor does not consult `editable`; the others do.
  t->editable = 0;
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(t.get(), 3, 1, 0, nullptr, 8, ic, g_c.data(), 0), 0);
  EXPECT_EQ(t->ic_type, 8);
  EXPECT_EQ(orx_df_kernel_iEditVal(t.get(), DF_ATTR_SPLINE_ORDER, 9), 0);
  EXPECT_EQ(orx_df_kernel_dEditPtr(t.get(), DF_ATTR_PARTITION, nullptr), 0);
  EXPECT_EQ(orx_df_kernel_dEditIdxPtr(t.get(), 99, -5, nullptr), 0);
  EXPECT_EQ(t->s_order, 3);

  const TaskPtr empty = new_task(4, 0, 0);
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(empty.get(), 2, 0, 0, nullptr, 0, nullptr, g_c.data(),
                                          0),
            DF_ERR_BAD_NY);
  EXPECT_EQ(orx_df_kernel_dEditPtr(empty.get(), DF_ATTR_COEFFS, g_c.data()), DF_ERR_BAD_NY);
}

TEST(DfTask, AllocationFailuresLeaveADeletableRecord) {
  Task1D* t = reinterpret_cast<Task1D*>(&g_x);  // must be nulled
  orx_host_test_fail_allocation(1);
  EXPECT_EQ(orx_df_kernel_dNewTask1D(&t, 4, g_x.data(), 0, 2, g_y.data(), 0, 0), DF_ERR_ALLOC);
  EXPECT_EQ(t, nullptr);
  orx_host_test_fail_allocation(2);  // the record succeeds, its value table fails
  EXPECT_EQ(orx_df_kernel_dNewTask1D(&t, 4, g_x.data(), 0, 2, g_y.data(), 0, 0), DF_ERR_ALLOC);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(t->y_table, nullptr);
  EXPECT_EQ(orx_df_kernel_DeleteTask(&t), 0);

  const TaskPtr task = new_task(4, 2, 0);
  orx_host_test_fail_allocation(1);
  EXPECT_EQ(orx_df_kernel_dEditPtr(task.get(), DF_ATTR_FUNC_VALUES, g_y.data()), DF_ERR_ALLOC);
  EXPECT_EQ(task->y_table, nullptr);
  orx_host_test_fail_allocation(1);
  EXPECT_EQ(orx_df_kernel_dEditPPSpline1D(task.get(), 2, 0, 0, nullptr, 0, nullptr, g_c.data(), 0),
            DF_ERR_ALLOC);
  EXPECT_EQ(task->coeff_table, nullptr);
  orx_host_test_fail_allocation(0);
  // Setting the pointers again rebuilds both tables.
  ASSERT_EQ(orx_df_kernel_dEditPtr(task.get(), DF_ATTR_FUNC_VALUES, g_y.data()), 0);
  ASSERT_EQ(orx_df_kernel_dEditPtr(task.get(), DF_ATTR_COEFFS, g_c.data()), 0);
  EXPECT_EQ(task->coeff_table[1], g_c.data() + 6);
}

TEST(DfTask, DeletingTwice) {
  Task1D* t = new_task(3, 1, 0).release();
  EXPECT_EQ(orx_df_kernel_DeleteTask(&t), 0);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(orx_df_kernel_DeleteTask(&t), DF_ERR_NULL_TASK);
  EXPECT_EQ(orx_df_kernel_DeleteTask(nullptr), DF_ERR_NULL_TASK);
}

}  // namespace
