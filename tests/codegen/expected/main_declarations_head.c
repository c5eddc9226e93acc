  // amount of probability to move from one state to another
  double prob;

  // the probability by which money shall be moved
  double probTransfer;

  // the amount of money which shall be moved
  double paySize;

  // the free policy fraction
  double fp_fraction;

  // the weight of the product
  double payWeight;

  // the total cashflow
  double cashflow[20][20];

  // the total reserve
  double reserve[20][20];
  double yield;
  int x,y;
  for(x=0;x<20;x++) for(y=0;y<20;y++)
    reserve[x][y]=0;

